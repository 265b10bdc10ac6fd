#include "services/notification_observers.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <string>

#include "platform/reference.h"
#include "platform/send.h"

namespace services {

using platform::Strong;

struct NotificationObservers::Registration {
  Registration(id newObserver, SEL newSelector, std::string_view newName, id newSender)
      : identity(newObserver),
        observer(newObserver),
        selector(newSelector),
        name(newName),
        isForAnySender(newSender == nullptr),
        sender(newSender) {}

  /// A sender that no longer exists does not mean "any sender".
  [[nodiscard]] bool accepts(id poster) const {
    return isForAnySender || (poster != nullptr && sender.load().get() == poster);
  }

  id identity;  ///< for comparison only
  platform::Weak observer;
  SEL selector;
  std::string name;
  bool isForAnySender;
  platform::Weak sender;
  std::atomic<bool> isRemoved{false};
};

NotificationObservers::NotificationObservers() = default;
NotificationObservers::~NotificationObservers() = default;

/// The caller destroys the result outside the lock, because ending weak references takes other locks.
template <class Test>
NotificationObservers::Registrations NotificationObservers::take(Test test) {
  const std::lock_guard lock(mutex_);
  const auto kept = std::stable_partition(registrations_.begin(), registrations_.end(),
                                          [&](const auto& each) { return !test(*each); });
  Registrations taken(std::make_move_iterator(kept), std::make_move_iterator(registrations_.end()));
  registrations_.erase(kept, registrations_.end());
  for (const auto& each : taken) each->isRemoved = true;
  return taken;
}

void NotificationObservers::add(id observer, SEL selector, std::string_view name, id sender) {
  auto registration = std::make_shared<Registration>(observer, selector, name, sender);
  std::vector<Strong> alive;  // outlives the lock: the last release deallocates, which may remove observers
  take([&](const Registration& each) { return !alive.emplace_back(each.observer.load()); });
  const std::lock_guard lock(mutex_);
  registrations_.push_back(std::move(registration));
}

void NotificationObservers::remove(id observer) {
  take([observer](const Registration& each) { return each.identity == observer; });
}

void NotificationObservers::send(std::string_view name, id sender, id notification) {
  Registrations receivers;
  {
    const std::lock_guard lock(mutex_);
    std::copy_if(registrations_.begin(), registrations_.end(), std::back_inserter(receivers),
                 [&](const auto& each) { return each->name == name; });
  }
  for (const auto& each : receivers) {
    const Strong observer = each->observer.load();
    if (observer && !each->isRemoved && each->accepts(sender)) {
      platform::send<void(id)>(observer.get(), each->selector, notification);
    }
  }
}

}  // namespace services
