#include "host/objc/objc_runtime.h"
#include "host/objects/nsinvocation.h"
#include "platform/class_face.h"
#include "platform/exception.h"
#include "platform/key_value_observing.h"
#include "platform/text.h"

// The two roots, NSObject and NSProxy. Every class object responds to their instance methods too.

namespace host {
namespace {

using platform::ClassFace;

Class asClass(id self) { return reinterpret_cast<Class>(self); }

bool isKind(Class cls, Class wanted) {
  return findClass(cls, [wanted](Class each) { return each == wanted; }) != nullptr;
}
bool conforms(Class cls, Protocol* protocol) {
  return findClass(cls, [protocol](Class each) { return class_conformsToProtocol(each, protocol); }) != nullptr;
}
id text(const std::string& characters) { return platform::boxed(platform::Value(characters)); }

/// What both roots implement.
struct Root {
  static Class cls(id self, SEL) { return object_getClass(self); }
  static Class superclass(id self, SEL) { return class_getSuperclass(object_getClass(self)); }
  static bool isEqual(id self, SEL, id other) { return self == other; }
  static std::uint64_t hash(id self, SEL) { return reinterpret_cast<std::uintptr_t>(self) >> 4U; }
  static id description(id self, SEL) {
    return text(platform::format("<%@: %p>", {class_getName(object_getClass(self)), self}));
  }
  static id self(id self, SEL) { return self; }
  static id retain(id self, SEL) { return objc_retain(self); }
  static void release(id self, SEL) { objc_release(self); }
  static id autorelease(id self, SEL) { return objc_autorelease(self); }
  static void dealloc(id self, SEL) { disposeObject(self); }

  // Of class objects, and of instances of NSObject. An instance of NSProxy forwards them.
  static bool isKindOfClass(id self, SEL, Class wanted) { return isKind(object_getClass(self), wanted); }
  static bool isMemberOfClass(id self, SEL, Class wanted) { return object_getClass(self) == wanted; }
  static bool respondsToSelector(id self, SEL, SEL selector) {
    return class_respondsToSelector(object_getClass(self), selector);
  }

  static id alloc(id self, SEL) { return class_createInstance(asClass(self), 0); }
  static Class classClass(id self, SEL) { return asClass(self); }
  static Class classSuperclass(id self, SEL) { return class_getSuperclass(asClass(self)); }
  static bool isSubclassOfClass(id self, SEL, Class wanted) { return isKind(asClass(self), wanted); }
  static bool classConforms(id self, SEL, Protocol* protocol) { return conforms(asClass(self), protocol); }
  static bool instancesRespond(id self, SEL, SEL selector) { return class_respondsToSelector(asClass(self), selector); }
  static id classDescription(id self, SEL) { return text(class_getName(asClass(self))); }
};

struct Object {
  static bool isProxy(id, SEL) { return false; }
  static bool conformsToProtocol(id self, SEL, Protocol* protocol) { return conforms(object_getClass(self), protocol); }
  static id methodSignature(id self, SEL, SEL selector) { return signatureIn(object_getClass(self), selector); }
  static id instanceMethodSignature(id self, SEL, SEL selector) { return signatureIn(asClass(self), selector); }
  static id signatureIn(Class cls, SEL selector) {
    return makeMethodSignature(method_getTypeEncoding(class_getInstanceMethod(cls, selector)));
  }
  static id forwardingTargetForSelector(id, SEL, SEL) { return nullptr; }
  static void forwardInvocation(id self, SEL, id invocation) {
    const SEL selector = platform::send<SEL()>(invocation, sel_registerName("selector"));
    platform::send<void(SEL)>(self, sel_registerName("doesNotRecognizeSelector:"), selector);
  }
  static void doesNotRecognizeSelector(id self, SEL, SEL selector) { raiseUnrecognized(self, selector); }
  static bool resolveNothing(id, SEL, SEL) { return false; }
  static id init(id self, SEL) { return self; }
  static id make(id self, SEL) {
    return platform::send<id()>(platform::send<id()>(self, sel_registerName("alloc")), sel_registerName("init"));
  }
  static id copy(id self, SEL) { return platform::send<id(void*)>(self, sel_registerName("copyWithZone:"), nullptr); }
  static void observeValue(id self, SEL selector, id keyPath, id object, id change, void* context) {
    throw platform::Exception(
        "NSInternalInconsistencyException",
        platform::format("%@: An -%@ message was received but not handled.\nKey path: %@\nObserved object: %@\n"
                         "Change: %@\nContext: %p",
                         {self, sel_getName(selector), keyPath, object, change, static_cast<id>(context)}));
  }
};

/// A subclass implements both, to forward; the root itself has nothing to forward to.
struct Proxy {
  static bool isProxy(id, SEL) { return true; }
  static id methodSignature(id self, SEL, SEL selector) { raiseUnrecognized(self, selector); }
  static void forwardInvocation(id self, SEL, id invocation) {
    raiseUnrecognized(self, platform::send<SEL()>(invocation, sel_registerName("selector")));
  }
};

void defineRoot(Class cls) {
  ClassFace<Root>(cls)
      .method<Root::cls>("class")
      .method<Root::superclass>("superclass")
      .method<Root::isEqual>("isEqual:")
      .method<Root::hash>("hash")
      .method<Root::description>("description")
      .method<Root::self>("self")
      .method<Root::retain>("retain")
      .method<Root::release>("release")
      .method<Root::autorelease>("autorelease")
      .method<Root::dealloc>("dealloc")
      .classMethod<Root::alloc>("alloc")
      .classMethod<Root::classClass>("class")
      .classMethod<Root::classSuperclass>("superclass")
      .classMethod<Root::isKindOfClass>("isKindOfClass:")
      .classMethod<Root::isMemberOfClass>("isMemberOfClass:")
      .classMethod<Root::respondsToSelector>("respondsToSelector:")
      .classMethod<Root::isSubclassOfClass>("isSubclassOfClass:")
      .classMethod<Root::classConforms>("conformsToProtocol:")
      .classMethod<Root::instancesRespond>("instancesRespondToSelector:")
      .classMethod<Root::classDescription>("description");
}

void defineObject(Runtime& runtime) {
  runtime.object = runtime.allocateClassPair(nullptr, "NSObject");
  defineRoot(runtime.object);
  ClassFace<Object>(runtime.object)
      .method<Root::isKindOfClass>("isKindOfClass:")
      .method<Root::isMemberOfClass>("isMemberOfClass:")
      .method<Root::respondsToSelector>("respondsToSelector:")
      .method<Object::isProxy>("isProxy")
      .method<Object::conformsToProtocol>("conformsToProtocol:")
      .method<Object::methodSignature>("methodSignatureForSelector:")
      .method<Object::forwardingTargetForSelector>("forwardingTargetForSelector:")
      .method<Object::forwardInvocation>("forwardInvocation:")
      .method<Object::doesNotRecognizeSelector>("doesNotRecognizeSelector:")
      .method<Object::init>("init")
      .method<Object::copy>("copy")
      .method<Object::observeValue>(platform::observeValueForKeyPathSelector)
      .classMethod<Object::instanceMethodSignature>("instanceMethodSignatureForSelector:")
      .classMethod<Object::resolveNothing>("resolveInstanceMethod:")
      .classMethod<Object::resolveNothing>("resolveClassMethod:")
      .classMethod<Object::make>("new");
  runtime.resolvesNothing =
      method_getImplementation(class_getClassMethod(runtime.object, sel_registerName("resolveInstanceMethod:")));
}

/// Almost all messages to an instance are forwarded, also the questions for its class, protocols and methods.
Class defineProxy(Runtime& runtime) {
  const Class proxy = runtime.allocateClassPair(nullptr, "NSProxy");
  defineRoot(proxy);
  ClassFace<Proxy>(proxy)
      .method<Proxy::isProxy>("isProxy")
      .method<Proxy::methodSignature>("methodSignatureForSelector:")
      .method<Proxy::forwardInvocation>("forwardInvocation:");
  return proxy;
}

/// The protocol NSObject, with the methods that NSObject implements here.
Protocol* defineObjectProtocol(Runtime& runtime) {
  Protocol* protocol = runtime.allocateProtocol("NSObject");
  for (const char* name :
       {"class", "superclass", "isEqual:", "hash", "description", "self", "retain", "release", "autorelease", "isProxy",
        "isKindOfClass:", "isMemberOfClass:", "conformsToProtocol:", "respondsToSelector:"}) {
    const SEL selector = sel_registerName(name);
    const char* types = method_getTypeEncoding(class_getInstanceMethod(runtime.object, selector));
    protocol_addMethodDescription(protocol, selector, types, true, true);
  }
  runtime.registerProtocol(protocol);
  return protocol;
}

}  // namespace

void defineRootClasses(Runtime& runtime) {
  defineObject(runtime);
  const Class proxy = defineProxy(runtime);
  Protocol* protocol = defineObjectProtocol(runtime);
  for (const Class root : {runtime.object, proxy}) {
    class_addProtocol(root, protocol);
    runtime.registerClassPair(root);
  }
}

}  // namespace host

Class platform::classToComplete(const char* /*name*/) { return nullptr; }  // all classes are made at run time
