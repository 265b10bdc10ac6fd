// The default notification center as documented, which GNUstep's is not in all points: it calls an observer that was
// removed during the post, calls one that no longer exists, does not keep the order of registration, and drops what an
// observer raises. So one class of ours observes each name, and calls the observers that are registered here.

#include "platform/notification_center.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "foundation/objc/notification_hub.h"
#include "platform/object_messages.h"
#include "platform/reference.h"
#include "platform/value.h"
#include "services/notification_registration.h"

namespace foundation {
namespace {

using Registration = services::NotificationRegistration;

using platform::Strong;
using platform::Value;
using Registrations = std::vector<std::shared_ptr<Registration>>;

struct Center {
  std::mutex mutex;
  Registrations registrations;
  std::set<std::string, std::less<>> receivedNames;

  static Center& shared() {
    static auto& center = *new Center;
    return center;
  }

  /// The caller destroys the result outside the lock, because ending weak references takes other locks.
  template <class Test>
  Registrations remove(Test test) {
    const std::lock_guard lock(mutex);
    const auto kept = std::stable_partition(registrations.begin(), registrations.end(),
                                            [&](const auto& each) { return !test(*each); });
    Registrations removed(std::make_move_iterator(kept), std::make_move_iterator(registrations.end()));
    registrations.erase(kept, registrations.end());
    for (const auto& each : removed) each->isRemoved = true;
    return removed;
  }

  Registrations receiversOf(std::string_view name) {
    const std::lock_guard lock(mutex);
    Registrations receivers;
    std::copy_if(registrations.begin(), registrations.end(), std::back_inserter(receivers),
                 [&](const auto& each) { return each->name == name; });
    return receivers;
  }
};

void deliver(id notification) {
  const Strong sender = platform::property(notification, "object");
  const auto name = platform::unboxed(platform::property(notification, "name"));
  for (const auto& each : Center::shared().receiversOf(name ? name->text() : std::string_view())) {
    const Strong observer = each->observer.load();
    if (observer && !each->isRemoved && each->accepts(sender.get())) {
      platform::send<void(id)>(observer.get(), each->selector, notification);
    }
  }
}

}  // namespace
}  // namespace foundation

void foundation_notificationPosted(id notification) {
  platform::enter([&] { foundation::deliver(notification); });
}

namespace platform::NotificationCenter {

void addObserver(id observer, SEL selector, std::string_view name, id sender) {
  if (observer == nullptr) return;
  auto registration = std::make_shared<foundation::Registration>(observer, selector, name, sender);
  foundation::Center& center = foundation::Center::shared();
  std::vector<Strong> alive;  // outlives the lock: the last release deallocates, which may remove observers
  center.remove([&](const auto& each) { return !alive.emplace_back(each.observer.load()); });
  bool isNewName = false;
  {
    const std::lock_guard lock(center.mutex);
    center.registrations.push_back(std::move(registration));
    isNewName = center.receivedNames.emplace(name).second;
  }
  if (isNewName) foundation_receiveNotifications(boxed(Value(name)));
}

void removeObserver(id observer) {
  foundation::Center::shared().remove([observer](const auto& each) { return each.identity == observer; });
}

void postNotificationName(std::string_view name, id object, id userInfo) {
  const id center = send<id()>(classObject(objc_getClass("NSNotificationCenter")), sel_registerName("defaultCenter"));
  send<void(id, id, id)>(center, sel_registerName("postNotificationName:object:userInfo:"), boxed(Value(name)), object,
                         userInfo);
}

}  // namespace platform::NotificationCenter
