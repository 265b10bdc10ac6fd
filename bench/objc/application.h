#pragma once

#include "foundation/objc/handles.h"

// A small application in Objective-C, whose delegates count what they receive, and the calls by which the system
// reaches them.

/// Sets both delegates, as an application does before anything is intercepted.
FOUNDATION_C void bench_launch(void);
/// An object that counts the tokens that it receives as an interceptor. The caller owns it.
FOUNDATION_C id bench_makeInterceptor(void);

/// Send the delegates so many tokens, or foreign notifications in the foreground.
FOUNDATION_C void bench_deliverTokens(void *context, unsigned long times);
FOUNDATION_C void bench_presentForeign(void *context, unsigned long times);

/// What the application's own methods have counted, and the interceptor.
FOUNDATION_C unsigned long bench_tokensReceived(void);
FOUNDATION_C unsigned long bench_tokensIntercepted(void);
FOUNDATION_C unsigned long bench_presented(void);
/// Whether other code than the application's own receives the notification center's callbacks.
FOUNDATION_C bool bench_isPresentingReplaced(void);
/// The same for both delegates, both badge setters, and the object of the application's delegate.
FOUNDATION_C bool bench_isAllReplaced(void);
