#pragma once

#import <Foundation/Foundation.h>

// Writes down what happens in the shop, for the program that plays its day (UISystemMain.h has the form).

/// One of an object's callbacks was called: "background", "foreground" or "response".
void ShopNoteCall(NSString *object, NSString *callback);
/// What it returned through its completion handler, nil for a handler without arguments.
void ShopNoteAnswer(NSString *object, NSString *callback, id answer);

/// Notes what the core library does and what the application stores for its App Group. The core library's clock becomes
/// that of the day.
void ShopBeginDiary(void);
