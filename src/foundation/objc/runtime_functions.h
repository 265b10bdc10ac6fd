#pragma once

#include "platform/objc.h"

// Documented functions of the runtime that the module does not need.
extern "C" {

bool class_isMetaClass(Class cls);
bool class_conformsToProtocol(Class cls, Protocol* protocol);
Method class_getClassMethod(Class cls, SEL selector);

}  // extern "C"
