// Turning the application's delegate into an instance of a subclass made at run time.

#include <utility>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/PLXAppDelegateObserver.h"
#include "appdelegate/donor_methods.h"
#include "appdelegate/implementation_map.h"
#include "appdelegate/proxied_app_delegate.h"
#include "platform/exception.h"
#include "platform/log.h"
#include "platform/object_messages.h"
#include "platform/uuid.h"

namespace {

using platform::Strong;

ImplementationMap* attachedImplementations(id delegate) {
  const id map = objc_getAssociatedObject(delegate, kPLXOrigIMPBySelectorKey);
  return map != nullptr ? &platform::objectState<ImplementationMap>(map) : nullptr;
}

// Kept: called before the check of the sizes, so the records stay when it fails; and with another policy than the one
// that the filled map gets later.
void attachRecords(id delegate, Class original) {
  objc_setAssociatedObject(delegate, kPLXOrigIMPBySelectorKey, platform::makeObject<ImplementationMap>().get(),
                           OBJC_ASSOCIATION_RETAIN_NONATOMIC);
  objc_setAssociatedObject(delegate, kPLXOrigClassKey, platform::classObject(original),
                           OBJC_ASSOCIATION_RETAIN_NONATOMIC);
}

Strong applicationDelegate() { return platform::property(PLAppDelegateSwizzler::sharedApplication(), "delegate"); }

}  // namespace

void PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods() {
  proxyOrigDelegate();
  if (std::exchange(ProxiedAppDelegate::shared().sProxyAppDelegateRemoteNotificationOnceToken, true)) return;
  proxyRemoteNotifications();
}

void PLAppDelegateSwizzler::proxyOrigDelegate() {
  if (std::exchange(ProxiedAppDelegate::shared().sProxyAppDelegateOnceToken, true)) return;
  proxyAppDelegate(applicationDelegate().get());
}

void PLAppDelegateSwizzler::proxyAppDelegate(id delegate) {
  constexpr const char* method = "+[PLAppDelegateSwizzler proxyAppDelegate:]";
  // A nil delegate conforms to nothing, so it is reported here too.
  if (!platform::conformsToProtocol(delegate, objc_getProtocol("UIApplicationDelegate"))) {
    PL_LOG(platform::verbose, method, "App Delegate does not conform to UIApplicationDelegate protocol.");
    return;
  }
  if (!isAppDelegateProxyEnabled()) {
    PL_LOG(platform::verbose, method, "App Delegate Proxy is disabled.");
    return;
  }
  if (delegate == nullptr) {
    PL_LOG(platform::verbose, method, "Cannot create App Delegate Proxy because App Delegate instance is nil.");
    return;
  }
  try {
    ProxiedAppDelegate& proxied = ProxiedAppDelegate::shared();
    proxied.aOriginalAppDelegateClass = platform::classOf(delegate);
    proxied.aAppDelegateSubclass = createSubclassWithObject(delegate);
    reconfigureAppDelegate();
  } catch (const platform::Exception&) {
    PL_LOG(platform::verbose, method, "Cannot create App Delegate Proxy.");
  }
}

Class PLAppDelegateSwizzler::createSubclassWithObject(id delegate) {
  constexpr const char* method = "+[PLAppDelegateSwizzler createSubclassWithObject:]";
  const Class original = platform::classOf(delegate);
  const std::string originalName = class_getName(original);
  const std::string name = platform::format("%@-%@", {"PLX_" + originalName, platform::makeUUIDString()});
  if (objc_getClass(name.c_str()) != nullptr) {
    PL_LOG(platform::pellionWarning, method,
           "Cannot create a proxy for App Delegate. Subclass already exists. Original Class: %@, subclass: %@",
           originalName, name);
    return nullptr;
  }
  const Class subclass = objc_allocateClassPair(original, name.c_str(), 0);
  if (subclass == nullptr) {  // Kept: the text says that the subclass exists, whatever the cause
    PL_LOG(platform::pellionWarning, method,
           "Cannot create a proxy for App Delegate. Subclass already exists. Original Class: %@, subclass: Nil",
           originalName);
    return nullptr;
  }
  attachRecords(delegate, original);
  if (class_getInstanceSize(original) != class_getInstanceSize(subclass)) {
    PL_LOG(platform::pellionWarning, method,
           "Cannot create subclass of App Delegate, because the created subclass is not the same size. %@",
           originalName);
    return nullptr;  // Kept: the class pair is left as it is
  }
  objc_registerClassPair(subclass);
  if (object_setClass(delegate, subclass) != nullptr) {
    PL_LOG(platform::pellionWarning, method, "Successfully created App Delegate Proxy automatically.");
  }
  return subclass;
}

// Kept: sets nil, then the same delegate again, since the application object examines its delegate only when it is set.
// In the second call the nil makes the observer release the delegate and stop; the call then starts it again.
void PLAppDelegateSwizzler::reconfigureAppDelegate() {
  const SEL setDelegate = sel_registerName("setDelegate:");
  const Strong delegate = applicationDelegate();
  platform::send<void(id)>(sharedApplication(), setDelegate, nullptr);
  platform::send<void(id)>(sharedApplication(), setDelegate, delegate.get());
  ProxiedAppDelegate::shared().aOriginalAppDelegate = delegate;
  PLXAppDelegateObserver::sharedInstance().observeUIApplication();
}

void PLAppDelegateSwizzler::proxyRemoteNotifications() {
  const Strong delegate = applicationDelegate();
  const ImplementationMap* attached = attachedImplementations(delegate.get());
  Strong copy = attached != nullptr ? platform::makeObject<ImplementationMap>(*attached) : Strong();
  const ProxiedAppDelegate& proxied = ProxiedAppDelegate::shared();
  proxyRemoteNotificationsHandlingWithAppDelegateSubClass(
      proxied.aAppDelegateSubclass, proxied.aOriginalAppDelegateClass, delegate.get(),
      copy ? &platform::objectState<ImplementationMap>(copy.get()) : nullptr);
  objc_setAssociatedObject(delegate.get(), kPLXOrigIMPBySelectorKey, copy.get(), OBJC_ASSOCIATION_RETAIN);
  reconfigureAppDelegate();
}

void PLAppDelegateSwizzler::proxyRemoteNotificationsHandlingWithAppDelegateSubClass(
    Class subclass, Class realClass, id delegate, ImplementationMap* realImplementations) {
  if (subclass == nullptr || realClass == nullptr || delegate == nullptr || realImplementations == nullptr) return;
  for (const auto& [target, donor] : donorMethods) {
    targetSelectorForProxy(sel_registerName(target), sel_registerName(donor),
                           platform::classOf<PLAppDelegateSwizzler>(), subclass, realClass, *realImplementations);
  }
}

void PLAppDelegateSwizzler::targetSelectorForProxy(SEL target, SEL source, Class donor, Class subclass, Class realClass,
                                                   ImplementationMap& realImplementations) {
  registerInstanceMethodWithDestinationSelector(target, source, donor, subclass);
  realImplementations.set(target, implMethodSelector(target, realClass));
}

void PLAppDelegateSwizzler::registerInstanceMethodWithDestinationSelector(SEL destination, SEL source, Class donor,
                                                                          Class cls) {
  const Method method = class_getInstanceMethod(donor, source);
  if (!class_addMethod(cls, destination, method_getImplementation(method), method_getTypeEncoding(method))) {
    PL_LOG(platform::warning,
           "+[PLAppDelegateSwizzler registerInstanceMethodWithDestinationSelector:withImplementationFromSourceSelector:"
           "fromClass:toClass:]",
           "Cannot copy method to destination selector %@ as it already exists", sel_getName(destination));
  }
}

void PLAppDelegateSwizzler::registerInstanceMethodWithSelector(SEL selector, Class donor, Class cls) {
  registerInstanceMethodWithDestinationSelector(selector, selector, donor, cls);
}

IMP PLAppDelegateSwizzler::implMethodSelector(SEL selector, Class cls) {
  return method_getImplementation(class_getInstanceMethod(cls, selector));
}

std::optional<IMP> PLAppDelegateSwizzler::fetchOriginalSelectorImplementation(SEL selector, id object) {
  const ImplementationMap* implementations = attachedImplementations(object);
  return implementations != nullptr ? implementations->find(selector) : std::nullopt;
}

id PLAppDelegateSwizzler::sharedApplication() {
  const id application = platform::classObject(objc_getClass("UIApplication"));
  constexpr const char* getter = "sharedApplication";
  const bool isThere = platform::respondsToSelector(application, sel_registerName(getter));
  return isThere ? platform::property(application, getter) : nullptr;
}
