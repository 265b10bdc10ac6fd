#pragma once

#include "platform/objc.h"
#include "platform/reference.h"

// How the interception reads and hooks objects whose classes it knows only by name.

/// Returns the value of a property, if the object responds to its getter and the value is an instance of
/// `expectedClass` (null: of NSObject); otherwise null.
platform::Strong PLPropertyNameForMessagingFromObject(id object, const char* name, Class expectedClass);

/// Returns the userInfo of the content of the notification's request, a dictionary; null when anything on the way is
/// missing or of another class.
platform::Strong PLMessagingUserInfoFromNotification(id notification);

/// Makes the target class run the donor's code under the target selector, and its own former code under the donor's
/// selector, where the donor's code finds it; a second call does nothing. Returns whether the target class had the
/// method. Kept: if it had not, there is nothing under the donor's selector, and the donor's code will not find any.
bool injectSelector(Class targetClass, SEL targetSelector, Class donorClass, SEL donorSelector);
