// Replaces methods of the application's classes, and restores them.

#include <utility>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "platform/log.h"

using Proxy = PLMessagingRemoteNotificationsProxy;

void Proxy::swizzleSelector(SEL selector, Class cls, IMP replacement, Protocol* protocol) {
  if (const Method method = class_getInstanceMethod(cls, selector)) {
    const IMP original = method_setImplementation(method, replacement);
    const bool isOwn = original != replacement && original != missingMethodImplementationForClass(cls);
    if (isOwn) preserveOriginalImplementation(original, selector);
  } else {
    const char* types = protocol_getMethodDescription(protocol, selector, false, true).types;
    if (!class_addMethod(cls, selector, replacement, types)) {
      PL_LOG(platform::pellionWarning,
             "-[PLMessagingRemoteNotificationsProxy swizzleSelector:inClass:withImplementation:inProtocol:]",
             "Could not add method for %@ to class %@", sel_getName(selector),
             cls != nullptr ? platform::FormatArgument(class_getName(cls)) : nullptr);
    }
  }
  monitorSwizzledSelector(selector, cls);
}

void Proxy::unswizzleSelector(SEL selector, Class cls) {
  const Method method = class_getInstanceMethod(cls, selector);
  if (method == nullptr) return;
  const IMP original = fetchOriginalImplementationForSelector(selector);
  if (original == nullptr) {
    method_setImplementation(method, missingMethodImplementationForClass(cls));
    return;
  }
  method_setImplementation(method, original);
  discardImplementationForSelector(selector);
}

void Proxy::unswizzleAllMethods() {
  if (appDelegateMonitoringID_) {
    PLAppDelegateSwizzler::unregisterAppDelegateInterceptorWithIdentifier(&*appDelegateMonitoringID_);
  }
  for (const auto& [cls, selectors] : swizzledMethodsByClass_) {
    for (const std::string& selector : selectors) {
      unswizzleSelector(sel_registerName(selector.c_str()), objc_getClass(cls.c_str()));
    }
  }
  swizzledMethodsByClass_.clear();
}

void Proxy::preserveOriginalImplementation(IMP implementation, SEL selector) {
  if (implementation == nullptr || selector == nullptr) return;
  origAppDelegateImps_[selector] = implementation;
}

IMP Proxy::fetchOriginalImplementationForSelector(SEL selector) const {
  const auto kept = origAppDelegateImps_.find(selector);
  return kept != origAppDelegateImps_.end() ? kept->second : nullptr;
}

void Proxy::discardImplementationForSelector(SEL selector) { origAppDelegateImps_.erase(selector); }

// Kept: looks the record up by selector, but stores it by class. So a class's record names only the selector that was
// replaced last, and unswizzleAllMethods restores no other.
void Proxy::monitorSwizzledSelector(SEL selector, Class cls) {
  if (cls == nullptr) return;  // a null class has no name to record
  const std::string name = sel_getName(selector);
  const auto recorded = swizzledMethodsByClass_.find(name);
  std::vector<std::string> selectors;
  if (recorded != swizzledMethodsByClass_.end()) selectors = recorded->second;
  selectors.push_back(name);
  swizzledMethodsByClass_[class_getName(cls)] = std::move(selectors);
}

IMP Proxy::missingMethodImplementationForClass(Class cls) {
  return class_getMethodImplementation(cls, sel_registerName("aNonExistantMethod"));
}
