// The default notification center as documented, which GNUstep's is not in all points: it calls an observer that was
// removed during the post, calls one that no longer exists, does not keep the order of registration, and drops what an
// observer raises. So one class of ours observes each name, and calls the observers that are registered here.

#include "platform/notification_center.h"

#include <mutex>
#include <set>
#include <string>

#include "foundation/objc/notification_hub.h"
#include "platform/object_messages.h"
#include "platform/reference.h"
#include "platform/value.h"
#include "services/notification_observers.h"

namespace foundation {
namespace {

struct Center {
  services::NotificationObservers observers;
  std::mutex mutex;
  std::set<std::string, std::less<>> receivedNames;

  static Center& shared() {
    static auto& center = *new Center;
    return center;
  }
};

void deliver(id notification) {
  const platform::Strong sender = platform::property(notification, "object");
  const auto name = platform::unboxed(platform::property(notification, "name"));
  Center::shared().observers.send(name ? name->text() : std::string_view(), sender.get(), notification);
}

}  // namespace
}  // namespace foundation

void foundation_notificationPosted(id notification) {
  platform::enter([&] { foundation::deliver(notification); });
}

namespace platform::NotificationCenter {

void addObserver(id observer, SEL selector, std::string_view name, id sender) {
  if (observer == nullptr) return;
  foundation::Center& center = foundation::Center::shared();
  center.observers.add(observer, selector, name, sender);
  const bool isNewName = [&] {
    const std::lock_guard lock(center.mutex);
    return center.receivedNames.emplace(name).second;
  }();
  if (isNewName) foundation_receiveNotifications(boxed(Value(name)));
}

void removeObserver(id observer) { foundation::Center::shared().observers.remove(observer); }

void postNotificationName(std::string_view name, id object, id userInfo) {
  const id center = send<id()>(classObject(objc_getClass("NSNotificationCenter")), sel_registerName("defaultCenter"));
  send<void(id, id, id)>(center, sel_registerName("postNotificationName:object:userInfo:"), boxed(Value(name)), object,
                         userInfo);
}

}  // namespace platform::NotificationCenter
