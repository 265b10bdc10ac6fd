#pragma once

#import <Foundation/Foundation.h>

/// Receives what the classes here do in the place of the system: "set badge" and the number, "opened URL" and a
/// dictionary with "url" and "calledOnMainThread", and so on.
typedef void (^UISystemListener)(NSString *what, id details);
void UISystemSetListener(UISystemListener listener);
void UISystemTell(NSString *what, id details);

/// Runs the work on the main thread's run loop, later.
void UISystemRunLater(void (^work)(void));
