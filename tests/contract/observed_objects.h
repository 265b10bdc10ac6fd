#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <optional>
#include <vector>

#include "platform/key_value_observing.h"
#include "tests/contract/contract.h"
#include "tests/support/runtime_objects.h"

namespace test {

using platform::Strong;
using platform::Value;

inline constexpr std::uint64_t newAndOld =
    platform::NSKeyValueObservingOptionNew | platform::NSKeyValueObservingOptionOld;

class Application {
 public:
  static constexpr const char* className = "ContractApplication";
  static void defineClass(platform::ClassFace<Application>& face) {
    face.method<&Application::delegate>("delegate").method<&Application::setDelegate>("setDelegate:");
    face.method<&Application::badge>("badge").method<&Application::setBadge>("setBadge:");
    face.method<&Application::setName>("setName:");
  }
  id delegate() { return delegate_.get(); }
  void setDelegate(id delegate) { delegate_ = delegate; }
  std::int64_t badge() { return badge_; }
  void setBadge(std::int64_t badge) { badge_ = badge; }
  void setName(const char*) {}

 private:
  Strong delegate_;
  std::int64_t badge_ = 0;
};

struct Change {
  Value key;
  id object;
  std::optional<Value> oldValue, newValue;
  void* context;
};

class Watcher {
 public:
  static constexpr const char* className = "ContractWatcher";
  static void defineClass(platform::ClassFace<Watcher>& face) {
    face.method<&Watcher::observe>("observeValueForKeyPath:ofObject:change:context:");
  }
  void observe(id keyPath, id object, id change, void* context) {
    const Value values = *platform::unboxed(change);
    const auto find = [&](const char* key) {
      const Value* value = values.find(key);
      return value == nullptr ? std::nullopt : std::optional(*value);
    };
    changes.push_back({*platform::unboxed(keyPath), object, find("old"), find("new"), context});
    if (then) then();
  }
  std::vector<Change> changes;
  std::function<void()> then;
};

class KeyValueObserving : public Contract {
 protected:
  /// An object that ends while it is observed costs GNUstep Base memory.
  void TearDown() override {
    if (watcher) {
      then = nullptr;
      for (const char* key : {"delegate", "badge"}) {
        while (raised([&] { platform::removeObserver(application.get(), watcher.get(), key); }) == "nothing") {
        }
      }
    }
    raised([this] { setDelegate(nullptr); });  // forgets the observers that have ended
  }
  void setDelegate(id newDelegate) { platform::send<void(id)>(application.get(), sel("setDelegate:"), newDelegate); }
  void observe(std::uint64_t options = newAndOld, void* context = nullptr) {
    platform::addObserver(application.get(), watcher.get(), "delegate", options, context);
  }

  Strong application = platform::makeObject<Application>();
  Strong watcher = platform::makeObject<Watcher>();
  std::vector<Change>& changes = platform::objectState<Watcher>(watcher.get()).changes;
  std::function<void()>& then = platform::objectState<Watcher>(watcher.get()).then;
  Strong delegate = makeInstance(objc_getClass("NSObject"));
};

}  // namespace test
