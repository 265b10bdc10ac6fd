#pragma once

// What the module needs from the object runtime, in the platform's own C vocabulary: every function below has the name,
// the arguments and the meaning that the platform documents for it. The linker decides which runtime implements them.
// The handles are opaque; no code outside that runtime looks behind them.
//
// Null is legal wherever the platform allows it: a null class has no methods, a null object no class. All functions
// may be called from any thread. Selectors are interned for the life of the program; classes and protocols belong to
// the current platform::Process and end with it.

#include <cstddef>
#include <cstdint>

extern "C" {

using id = struct objc_object*;
using Class = struct objc_class*;
using SEL = const struct objc_selector*;
using Method = struct objc_method*;
using Protocol = struct objc_protocol;
/// A method's code: a bare function `R (*)(id self, SEL _cmd, A...)`, cast to its real type by the caller.
using IMP = void (*)();

struct objc_method_description {
  SEL name;           ///< null when the protocol declares no such method
  const char* types;  ///< type encoding, or null
};

using objc_AssociationPolicy = std::uintptr_t;
enum : objc_AssociationPolicy {
  OBJC_ASSOCIATION_ASSIGN = 0,
  OBJC_ASSOCIATION_RETAIN_NONATOMIC = 1,
  OBJC_ASSOCIATION_COPY_NONATOMIC = 3,
  OBJC_ASSOCIATION_RETAIN = 0x301,
  OBJC_ASSOCIATION_COPY = 0x303,
};

// Selectors.
SEL sel_registerName(const char* name);
const char* sel_getName(SEL selector);

// Classes. A pair made by objc_allocateClassPair is found by name only once it is registered.
Class objc_getClass(const char* name);
Class objc_allocateClassPair(Class superclass, const char* name, std::size_t extraBytes);
void objc_registerClassPair(Class cls);
const char* class_getName(Class cls);
Class class_getSuperclass(Class cls);
std::size_t class_getInstanceSize(Class cls);
id class_createInstance(Class cls, std::size_t extraBytes);
void* object_getIndexedIvars(id object);  // the extra bytes, aligned as a pointer

// Methods. Look-ups search the superclasses; class_addMethod fails only when the class itself has the selector.
// class_getMethodImplementation returns the forwarding marker for a method that the class lacks. A method added with
// null types fits every call.
Method class_getInstanceMethod(Class cls, SEL selector);
IMP class_getMethodImplementation(Class cls, SEL selector);
bool class_addMethod(Class cls, SEL selector, IMP implementation, const char* types);
IMP method_getImplementation(Method method);
const char* method_getTypeEncoding(Method method);
IMP method_setImplementation(Method method, IMP implementation);
void method_exchangeImplementations(Method first, Method second);

// Protocols.
Protocol* objc_getProtocol(const char* name);
objc_method_description protocol_getMethodDescription(Protocol* protocol, SEL name, bool isRequired, bool isInstance);
bool class_addProtocol(Class cls, Protocol* protocol);

// Objects.
Class object_getClass(id object);
Class object_setClass(id object, Class cls);  // returns the previous class

void objc_setAssociatedObject(id object, const void* key, id value, objc_AssociationPolicy policy);
id objc_getAssociatedObject(id object, const void* key);

// Ownership. Counts are atomic; a weak slot reads null from the moment its object begins to be deallocated, also when
// it is stored later.
id objc_retain(id object);
void objc_release(id object);
id objc_autorelease(id object);
void* objc_autoreleasePoolPush();
void objc_autoreleasePoolPop(void* pool);
id objc_storeWeak(id* slot, id object);
id objc_loadWeakRetained(id* slot);
void objc_destroyWeak(id* slot);

}  // extern "C"
