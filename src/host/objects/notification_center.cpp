#include "platform/notification_center.h"

#include <new>
#include <string>

#include "host/objc/objc_runtime.h"
#include "host/objc/object_variable.h"
#include "platform/process.h"
#include "services/notification_observers.h"

namespace host {
namespace {

struct Notification {
  std::string name;
  platform::Strong object;
  platform::Strong userInfo;

  static id nameOf(id self, SEL) { return platform::boxed(state(self).name); }
  static id objectOf(id self, SEL) { return state(self).object.get(); }
  static id userInfoOf(id self, SEL) { return state(self).userInfo.get(); }
  static Notification& state(id self) { return variableOf<Notification>(self); }
};

services::NotificationObservers& observers() { return platform::Process::shared<services::NotificationObservers>(); }

}  // namespace

void defineNotificationClass(Runtime& runtime) {
  runtime.notification = runtime.allocateClassPair(runtime.object, "NSNotification");
  addVariable<Notification>(runtime.notification);
  platform::ClassFace<Notification>(runtime.notification)
      .method<Notification::nameOf>("name")
      .method<Notification::objectOf>("object")
      .method<Notification::userInfoOf>("userInfo");
  runtime.registerClassPair(runtime.notification);
}

}  // namespace host

namespace platform::NotificationCenter {

void addObserver(id observer, SEL selector, std::string_view name, id sender) {
  if (observer != nullptr) host::observers().add(observer, selector, name, sender);
}

void removeObserver(id observer) { host::observers().remove(observer); }

void postNotificationName(std::string_view name, id object, id userInfo) {
  const platform::AutoreleasePool pool;
  const Strong notification = Strong::adopt(class_createInstance(host::Runtime::current().notification, 0));
  new (&host::Notification::state(notification.get())) host::Notification{std::string(name), object, userInfo};
  host::observers().send(name, object, notification.get());
}

}  // namespace platform::NotificationCenter
