// The interceptors, and the broadcast to them.

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/interceptor_registry.h"
#include "platform/log.h"
#include "platform/object_messages.h"

std::optional<std::string> PLAppDelegateSwizzler::registerAppDelegateInterceptor(id interceptor) {
  constexpr const char* method = "+[PLAppDelegateSwizzler registerAppDelegateInterceptor:]";
  if (interceptor == nullptr) {
    PL_LOG(platform::pellionWarning, method, "AppDelegateProxy cannot add nil interceptor.");
    return std::nullopt;
  }
  if (!platform::conformsToProtocol(interceptor, objc_getProtocol("UIApplicationDelegate"))) {
    PL_LOG(platform::pellionWarning, method, "AppDelegateProxy interceptor does not conform to UIApplicationDelegate");
    return std::nullopt;
  }
  std::string interceptorID = platform::format("PLX_%p", {interceptor});
  if (interceptorID.empty()) {  // never happens: the text starts with "PLX_"
    PL_LOG(platform::pellionWarning, method, "AppDelegateProxy cannot create Interceptor ID.");
    return std::nullopt;
  }
  platform::Strong container = platform::makeObject<PLXSafeWeakContainer>();
  platform::objectState<PLXSafeWeakContainer>(container.get()).setObject(interceptor);
  interceptors().set(interceptorID, std::move(container));
  return interceptorID;
}

void PLAppDelegateSwizzler::unregisterAppDelegateInterceptorWithIdentifier(const std::string* interceptorID) {
  constexpr const char* method = "+[PLAppDelegateSwizzler unregisterAppDelegateInterceptorWithIdentifier:]";
  if (interceptorID == nullptr) {
    PL_LOG(platform::pellionWarning, method, "AppDelegateProxy cannot unregister empty interceptor ID.");
    return;
  }
  const InterceptorRegistry::Entry* entry = interceptors().find(*interceptorID);
  if (entry != nullptr && entry->interceptor()) {
    interceptors().remove(*interceptorID);
  } else {
    PL_LOG(platform::pellionWarning, method,
           "AppDelegateProxy cannot unregister interceptor that was not registered. Interceptor ID %@", *interceptorID);
  }
}

InterceptorRegistry& PLAppDelegateSwizzler::interceptors() { return platform::Process::shared<InterceptorRegistry>(); }

void PLAppDelegateSwizzler::broadcastToInterceptorsUsingSelector(SEL selector,
                                                                 const std::function<void(id interceptor)>& callback) {
  if (!callback) return;
  InterceptorRegistry& registry = interceptors();
  const auto entries = registry.entries();
  for (const InterceptorRegistry::Entry& entry : *entries) {
    if (const platform::Strong interceptor = entry.interceptor()) {
      if (platform::respondsToSelector(interceptor.get(), selector)) callback(interceptor.get());
    } else if (registry.holds(entry)) {  // neither removed nor registered again since the loop began
      PL_LOG(platform::warning, "+[PLAppDelegateSwizzler broadcastToInterceptorsUsingSelector:callback:]_block_invoke",
             "AppDelegateProxy cannot find interceptor with ID %@. Removing the interceptor.", entry.interceptorID);
      registry.remove(entry.interceptorID);
    }
  }
}
