#include "interception/platform_access.h"

#include "platform/object_messages.h"

namespace {

/// Reads a property whose class is known by name.
platform::Strong checkedProperty(id object, const char* name, const char* expectedClass) {
  return PLPropertyNameForMessagingFromObject(object, name, objc_getClass(expectedClass));
}

}  // namespace

platform::Strong PLPropertyNameForMessagingFromObject(id object, const char* name, Class expectedClass) {
  const SEL getter = sel_registerName(name);
  if (!platform::respondsToSelector(object, getter)) return {};
  if (expectedClass == nullptr) expectedClass = objc_getClass("NSObject");
  const id value = platform::send<id()>(object, getter);
  return platform::isKindOfClass(value, expectedClass) ? value : nullptr;
}

platform::Strong PLMessagingUserInfoFromNotification(id notification) {
  const platform::Strong request = checkedProperty(notification, "request", "UNNotificationRequest");
  const platform::Strong content = checkedProperty(request.get(), "content", "UNNotificationContent");
  return checkedProperty(content.get(), "userInfo", "NSDictionary");
}

bool injectSelector(Class targetClass, SEL targetSelector, Class donorClass, SEL donorSelector) {
  const Method donor = class_getInstanceMethod(donorClass, donorSelector);
  const IMP implementation = method_getImplementation(donor);
  const char* types = method_getTypeEncoding(donor);
  const Method target = class_getInstanceMethod(targetClass, targetSelector);
  if (target == nullptr) {
    class_addMethod(targetClass, targetSelector, implementation, types);
    return false;
  }
  if (method_getImplementation(target) != implementation) {
    class_addMethod(targetClass, donorSelector, implementation, types);
    method_exchangeImplementations(target, class_getInstanceMethod(targetClass, donorSelector));
  }
  return true;
}
