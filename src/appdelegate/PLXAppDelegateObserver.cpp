#include "appdelegate/PLXAppDelegateObserver.h"

#include <optional>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/proxied_app_delegate.h"
#include "platform/key_value_observing.h"
#include "platform/value.h"

namespace {

constexpr const char* applicationDelegateKey = "delegate";

using platform::Value;

/// `isEqual:` sent to an object that may be nil; nil is equal to nothing.
bool isEqual(const std::optional<Value>& object, const std::optional<Value>& other) {
  return object && object == other;
}

}  // namespace

PLXAppDelegateObserver& PLXAppDelegateObserver::sharedInstance() {
  return platform::Process::shared<platform::Singleton<PLXAppDelegateObserver>>().get();
}

void PLXAppDelegateObserver::defineClass(platform::ClassFace<PLXAppDelegateObserver>& face) {
  face.classMethod<&PLXAppDelegateObserver::sharedObject>("sharedInstance")
      .method<&PLXAppDelegateObserver::observeUIApplication>("observeUIApplication")
      .method<&PLXAppDelegateObserver::observeValueForKeyPath>(platform::observeValueForKeyPathSelector);
}

id PLXAppDelegateObserver::sharedObject() { return platform::objectOf(sharedInstance()); }

void PLXAppDelegateObserver::observeUIApplication() {
  if (isObserving_) return;
  platform::addObserver(PLAppDelegateSwizzler::sharedApplication(), platform::objectOf(*this), applicationDelegateKey,
                        platform::NSKeyValueObservingOptionNew | platform::NSKeyValueObservingOptionOld, nullptr);
  isObserving_ = true;
}

void PLXAppDelegateObserver::observeValueForKeyPath(id keyPath, id /*object*/, id change, void* /*context*/) {
  if (platform::unboxed(keyPath) != Value(applicationDelegateKey)) return;
  const std::optional<Value> oldValue = platform::changedValue(change, platform::NSKeyValueChangeOldKey);
  if (isEqual(platform::changedValue(change, platform::NSKeyValueChangeNewKey), oldValue)) return;
  platform::Strong& proxied = ProxiedAppDelegate::shared().aOriginalAppDelegate;
  if (!isEqual(oldValue, platform::unboxed(proxied.get()))) return;
  proxied = {};
  platform::removeObserver(PLAppDelegateSwizzler::sharedApplication(), platform::objectOf(*this),
                           applicationDelegateKey);
  isObserving_ = false;
}
