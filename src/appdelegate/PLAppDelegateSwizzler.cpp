// The donor methods run in place of the application delegate's callbacks, with the delegate as their receiver. They
// call every interceptor, in the registry's order, then the application's own code.

#include "appdelegate/PLAppDelegateSwizzler.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "appdelegate/donor_methods.h"
#include "appdelegate/interceptor_registry.h"
#include "platform/block.h"
#include "platform/dispatch.h"
#include "platform/programming_error.h"
#include "platform/send.h"
#include "platform/ui_application.h"
#include "platform/value.h"

namespace {

using platform::UIBackgroundFetchResult;
using FetchHandler = platform::BlockPtr<void(UIBackgroundFetchResult)>;

struct DelegateProtocol {
  Protocol* found = objc_getProtocol("UIApplicationDelegate");  // looked up once, since every callback needs it
};

/// The application's own implementation of a delegate's method, or null.
IMP ownImplementation(SEL selector, id delegate) {
  return PLAppDelegateSwizzler::fetchOriginalSelectorImplementation(selector, delegate).value_or(nullptr);
}

/// Sends the arguments to the interceptor, unless the platform does not know the selector.
template <class... A>
void callInterceptor(id interceptor, SEL selector, const A&... arguments) {
  std::optional<platform::Invocation> invocation = PLAppDelegateSwizzler::invokeAppDelegateForSelector(selector);
  if (!invocation) return;
  invocation->setTarget(interceptor);
  invocation->setSelector(selector);
  std::size_t index = 2;
  (invocation->setArgument(&arguments, index++), ...);
  invocation->invoke();
}

/// A callback with one argument besides the application.
template <const DonorMethod& method>
void forward(id self, SEL /*donor*/, id application, id argument) {
  static const SEL target = sel_registerName(method.target);
  const IMP own = ownImplementation(target, self);
  const auto call = [&](id interceptor) { callInterceptor(interceptor, target, application, argument); };
  PLAppDelegateSwizzler::broadcastToInterceptorsUsingSelector(target, std::ref(call));
  if (own != nullptr) platform::callImplementation<void(id, id)>(own, self, target, application, argument);
}

/// New data from any participant wins, then no data; failure only when every participant failed or there was none.
UIBackgroundFetchResult merged(const std::vector<std::int32_t>& results) {
  bool allFailed = true;
  bool newData = false;
  for (const std::int32_t result : results) {
    newData = newData || result == platform::UIBackgroundFetchResultNewData;
    allFailed = allFailed && result != platform::UIBackgroundFetchResultNewData &&
                result != platform::UIBackgroundFetchResultNoData;
  }
  if (allFailed) return platform::UIBackgroundFetchResultFailed;
  return newData ? platform::UIBackgroundFetchResultNewData : platform::UIBackgroundFetchResultNoData;
}

// Each participant gets a handler that collects its result. Once all have called it, the platform's handler gets the
// merged result, on the main queue. Kept: no time limit for a participant that never calls, no guard against two calls.
void forwardNotification(id self, SEL /*donor*/, id application, id userInfo, FetchHandler handler) {
  static const SEL target = sel_registerName(didReceive.target);
  const IMP own = ownImplementation(target, self);
  const platform::DispatchGroup group;
  const auto results = std::make_shared<std::vector<std::int32_t>>();
  const platform::Block<void(UIBackgroundFetchResult)> collector([group, results](UIBackgroundFetchResult result) {
    results->push_back(static_cast<std::int32_t>(result));
    group.leave();
  });
  const FetchHandler collect = collector.get();
  const auto call = [&](id interceptor) {
    group.enter();
    callInterceptor(interceptor, target, application, userInfo, collect);
  };
  PLAppDelegateSwizzler::broadcastToInterceptorsUsingSelector(target, std::ref(call));
  if (own != nullptr) {
    group.enter();
    platform::callImplementation<void(id, id, FetchHandler)>(own, self, target, application, userInfo, collect);
  }
  group.notifyOnMainQueue([results, completion = platform::Block<void(UIBackgroundFetchResult)>(handler)] {
    if (!completion) {
      platform::programmingError(std::string(didReceive.target) +
                                 " was called without a completion handler; pass a block");
    }
    completion(merged(*results));
  });
}

}  // namespace

namespace {

/// The containers of the registered interceptors by interceptor ID.
id interceptorContainers() {
  std::vector<platform::Value::Entry> containers;
  const auto entries = PLAppDelegateSwizzler::interceptors().entries();
  for (const InterceptorRegistry::Entry& each : *entries) {
    containers.push_back({each.interceptorID, platform::Value::object(each.container.get())});
  }
  return platform::boxed(platform::Value::dictionary(containers));
}

void broadcast(SEL selector, platform::BlockPtr<void(id interceptor)> callback) {
  if (callback == nullptr) return;
  PLAppDelegateSwizzler::broadcastToInterceptorsUsingSelector(
      platform::uniqueSelector(selector), [callback](id interceptor) { platform::invoke(callback, interceptor); });
}

}  // namespace

void PLAppDelegateSwizzler::defineClass(platform::ClassFace<PLAppDelegateSwizzler>& face) {
  face.classMethod<&interceptorContainers>("interceptors")
      .classMethod<&broadcast>("broadcastToInterceptorsUsingSelector:callback:")
      .classMethod<&PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods>(
          "proxyOrigDelegateIncludingAPNSMethods")
      .classMethod<&PLAppDelegateSwizzler::sharedApplication>("sharedApplication")
      .method<&forward<didRegister>>(didRegister.donor)
      .method<&forward<didFailToRegister>>(didFailToRegister.donor)
      .method<&forwardNotification>(didReceive.donor);
}

std::optional<platform::Invocation> PLAppDelegateSwizzler::invokeAppDelegateForSelector(SEL selector) {
  const DelegateProtocol& protocol = platform::Process::shared<DelegateProtocol>();
  return platform::Invocation::invocationWithObjCTypes(
      protocol_getMethodDescription(protocol.found, selector, false, true).types);
}
