// Key-value observing as documented, which GNUstep Base does not do in all points: it notifies an observer that is
// registered twice only once, notifies in the reverse order, ignores contexts when an observer is removed, and does not
// report the removal of an observer that is not registered. So Foundation has one observer of ours for each observed
// object and key path, a relay, which is attached to the object; the observers are registered with it.

#include "platform/key_value_observing.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "foundation/objc/key_value_relay.h"
#include "platform/exception.h"
#include "platform/object_messages.h"
#include "platform/reference.h"
#include "platform/text.h"

namespace foundation {
namespace {

using platform::Strong;

struct Observation {
  Observation(id newObserver, std::uint64_t newOptions, void* newContext)
      : identity(newObserver), observer(newObserver), options(newOptions), context(newContext) {}

  id identity;  ///< for comparison only
  platform::Weak observer;
  std::uint64_t options;
  void* context;
  std::atomic<bool> isRemoved{false};
};

/// The state of a relay. Protected by observingMutex().
struct Observations {
  std::vector<std::shared_ptr<Observation>> all;
};

std::recursive_mutex& observingMutex() {
  static auto& mutex = *new std::recursive_mutex;
  return mutex;
}

/// The key under which the relay of a key path is attached: one address for each key path.
const void* attachmentKey(const std::string& keyPath) {
  static auto& known = *new std::set<std::string>;
  return known.insert(keyPath).first->c_str();
}

Observations& observationsOf(id relay) { return *static_cast<Observations*>(foundation_relayState(relay)); }

Strong makeRelay() {
  return Strong::adopt(
      foundation_makeRelay(new Observations, [](void* state) { delete static_cast<Observations*>(state); }));
}

std::string described(id object) {
  return platform::format("<%@ %p>", {class_getName(platform::classOf(object)), object});
}

[[noreturn]] void raiseNotRegistered(id object, id observer, const std::string& keyPath) {
  throw platform::Exception(platform::rangeException,
                            "Cannot remove an observer " + described(observer) + " for the key path \"" + keyPath +
                                "\" from " + described(object) + " because it is not registered as an observer.");
}

/// With the lock held. Returns the relay when it has no observers any more, and forgets it: the caller stops it,
/// unlocked.
Strong takeIdleRelay(id object, const std::string& key) {
  Strong relay = objc_getAssociatedObject(object, attachmentKey(key));
  if (!relay || !observationsOf(relay.get()).all.empty()) return {};
  objc_setAssociatedObject(object, attachmentKey(key), nullptr, OBJC_ASSOCIATION_RETAIN);
  return relay;
}

void stop(const Strong& relay, id object, const std::string& key) {
  if (!relay) return;
  platform::send<void(id, id)>(object, sel_registerName("removeObserver:forKeyPath:"), relay.get(),
                               platform::boxed(platform::Value(key)));
}

/// Of several matching registrations, removes the latest. An absent context matches any.
void remove(id object, id observer, const char* keyPath, std::optional<void*> context) {
  if (object == nullptr) return;
  const std::string key(keyPath != nullptr ? keyPath : "");
  std::shared_ptr<Observation> removed;
  Strong idle;
  {
    const std::lock_guard lock(observingMutex());
    const id relay = objc_getAssociatedObject(object, attachmentKey(key));
    if (relay == nullptr) raiseNotRegistered(object, observer, key);
    auto& all = observationsOf(relay).all;
    const auto found = std::find_if(all.rbegin(), all.rend(), [&](const auto& each) {
      return each->identity == observer && (!context || each->context == *context);
    });
    if (found == all.rend()) raiseNotRegistered(object, observer, key);
    removed = *found;
    removed->isRemoved = true;
    all.erase(std::next(found).base());
    idle = takeIdleRelay(object, key);
  }
  stop(idle, object, key);
}

/// Foundation loses memory when an object ends that is observed, so observers that have ended do not keep their relay.
void forgetEndedObservers(id relay, id object, const std::string& key) {
  std::vector<Strong> alive;  // outlives the lock: a last release may remove observers
  Strong idle;
  {
    const std::lock_guard lock(observingMutex());
    std::erase_if(observationsOf(relay).all,
                  [&](const auto& each) { return !alive.emplace_back(each->observer.load()); });
    idle = takeIdleRelay(object, key);
  }
  stop(idle, object, key);
}

void notify(id relay, id keyPath, id object, id change) {
  static const SEL callback = sel_registerName(platform::observeValueForKeyPathSelector);
  const Strong kept(object);  // an observer may release the last reference
  std::vector<std::shared_ptr<Observation>> all;
  {
    const std::lock_guard lock(observingMutex());
    all = observationsOf(relay).all;
  }
  bool hasEnded = false;
  for (const auto& each : all) {
    const Strong observer = each->observer.load();
    hasEnded = hasEnded || !observer;
    if (!observer || each->isRemoved) continue;
    const id wanted = foundation_changeWith(change, (each->options & platform::NSKeyValueObservingOptionNew) != 0,
                                            (each->options & platform::NSKeyValueObservingOptionOld) != 0);
    platform::send<void(id, id, id, void*)>(observer.get(), callback, keyPath, object, wanted, each->context);
  }
  if (hasEnded) forgetEndedObservers(relay, object, std::string(platform::unboxed(keyPath)->text()));
}

}  // namespace
}  // namespace foundation

void foundation_relayChange(id relay, id keyPath, id object, id change) {
  platform::enter([&] { foundation::notify(relay, keyPath, object, change); });
}

namespace platform {

void addObserver(id object, id observer, const char* keyPath, std::uint64_t options, void* context) {
  if (object == nullptr || observer == nullptr) return;
  const std::string key(keyPath != nullptr ? keyPath : "");
  auto observation = std::make_shared<foundation::Observation>(observer, options, context);
  Strong made;
  {
    const std::lock_guard lock(foundation::observingMutex());
    id relay = objc_getAssociatedObject(object, foundation::attachmentKey(key));
    if (relay == nullptr) {
      made = foundation::makeRelay();
      relay = made.get();
      objc_setAssociatedObject(object, foundation::attachmentKey(key), relay, OBJC_ASSOCIATION_RETAIN);
    }
    foundation::observationsOf(relay).all.push_back(std::move(observation));
  }
  if (!made) return;
  try {
    send<void(id, id, std::uint64_t, void*)>(object, sel_registerName("addObserver:forKeyPath:options:context:"),
                                             made.get(), boxed(Value(key)),
                                             NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld, nullptr);
    // With its first message, the class that Foundation has given the object gets its dispatch table. The runtime does
    // not update a table that is only prepared when a method of a superclass is replaced.
    classOf(object);
  } catch (const Exception&) {
    const std::lock_guard lock(foundation::observingMutex());
    objc_setAssociatedObject(object, foundation::attachmentKey(key), nullptr, OBJC_ASSOCIATION_RETAIN);
    throw;
  }
}

void removeObserver(id object, id observer, const char* keyPath) {
  foundation::remove(object, observer, keyPath, std::nullopt);
}
void removeObserver(id object, id observer, const char* keyPath, void* context) {
  foundation::remove(object, observer, keyPath, context);
}

}  // namespace platform
