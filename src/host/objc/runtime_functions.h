#pragma once

// Documented functions of the object runtime that the module does not use: for applications and tests on the host.

#include "platform/objc.h"

extern "C" {

using Ivar = struct objc_ivar*;

void objc_disposeClassPair(Class cls);
bool class_isMetaClass(Class cls);
bool class_addIvar(Class cls, const char* name, std::size_t size, std::uint8_t alignmentLog2, const char* types);
Ivar class_getInstanceVariable(Class cls, const char* name);
std::ptrdiff_t ivar_getOffset(Ivar ivar);
Method class_getClassMethod(Class cls, SEL selector);
bool class_respondsToSelector(Class cls, SEL selector);
IMP class_replaceMethod(Class cls, SEL selector, IMP implementation, const char* types);
SEL method_getName(Method method);

// An allocated protocol accepts descriptions and adopted protocols, which are registered ones, until it is registered.
// Later calls do nothing. Conformance and look-ups of descriptions follow the adopted protocols.
Protocol* objc_allocateProtocol(const char* name);
void objc_registerProtocol(Protocol* protocol);
const char* protocol_getName(Protocol* protocol);
void protocol_addMethodDescription(Protocol* protocol, SEL name, const char* types, bool isRequired, bool isInstance);
void protocol_addProtocol(Protocol* protocol, Protocol* addition);
bool protocol_conformsToProtocol(Protocol* protocol, Protocol* other);  // a protocol conforms to itself
bool class_conformsToProtocol(Class cls, Protocol* protocol);           // without its superclasses, as documented

id objc_initWeak(id* slot, id object);

}  // extern "C"

namespace host {

/// Makes a function of an application a method's code, unchanged.
template <class R, class... A>
IMP asIMP(R (*function)(id, SEL, A...)) {
  return reinterpret_cast<IMP>(function);
}

}  // namespace host
