#pragma once

#include "platform/objc.h"
#include "platform/reference.h"

// How the interception reads and hooks objects whose classes it knows by name alone.

/// The value of a property without argument, when the object answers it and the value is an instance of `expectedClass`
/// (null: of NSObject); else null.
platform::Strong PLPropertyNameForMessagingFromObject(id object, const char* name, Class expectedClass);

/// The notification's request's content's userInfo, a dictionary; null when anything on the way is missing or of
/// another class.
platform::Strong PLMessagingUserInfoFromNotification(id notification);

/// Has the target class run the donor's code under the target selector, and its own former code under the donor's
/// selector, where the donor's code finds it; a second time does nothing. Answers whether the target class had the
/// method. Kept: where it had not, there is nothing under the donor's selector, and the donor's code will miss it.
bool injectSelector(Class targetClass, SEL targetSelector, Class donorClass, SEL donorSelector);
