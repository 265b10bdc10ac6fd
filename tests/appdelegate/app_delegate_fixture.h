#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <utility>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/proxied_app_delegate.h"
#include "platform/key_value_observing.h"
#include "tests/contract/contract.h"
#include "tests/support/phone.h"
#include "tests/support/test_application.h"

namespace test {

inline constexpr const char* notConforming =
    "verbose +[PLAppDelegateSwizzler proxyAppDelegate:]: App Delegate does not conform to UIApplicationDelegate "
    "protocol.";
inline const std::string creating = "pellion-warning +[PLAppDelegateSwizzler createSubclassWithObject:]: ";
inline const std::string created = creating + "Successfully created App Delegate Proxy automatically.";
inline const platform::Value token = "T";

/// Observes each assignment of the application's delegate, as any observer may.
class Watcher {
 public:
  static constexpr const char* className = "Watcher";
  static void defineClass(platform::ClassFace<Watcher>& face) {
    face.method<&Watcher::observe>("observeValueForKeyPath:ofObject:change:context:");
  }
  explicit Watcher(std::function<void(id delegate)> callback) : callback_(std::move(callback)) {
    platform::addObserver(sharedApplication(), platform::objectOf(*this), "delegate", 0, nullptr);
  }
  void observe(id, id application, id, void*) { callback_(platform::send<id()>(application, sel("delegate"))); }

 private:
  std::function<void(id delegate)> callback_;
};

class AppDelegate : public SkipsDifferences<> {
 protected:
  void start(const platform::Strong& delegate) {
    startApplication(delegate);
    PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  }
  platform::Strong addInterceptor(Class cls) {
    platform::Strong interceptor = makeInstance(cls);
    PLAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor.get());
    return interceptor;
  }
  static ProxiedAppDelegate& proxied() { return ProxiedAppDelegate::shared(); }

  Phone phone_;
};

}  // namespace test
