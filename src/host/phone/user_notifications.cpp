#include "host/phone/user_notifications.h"

#include <utility>

#include "host/objc/objc_runtime.h"
#include "host/phone/process.h"
#include "host/phone/ui_application.h"
#include "platform/block.h"
#include "platform/class_face.h"

namespace host {
namespace {

using platform::ClassFace;
using platform::Strong;
using platform::Value;

class UNNotificationContent {
 public:
  explicit UNNotificationContent(Value userInfo) : userInfo_(std::move(userInfo)) {}
  static constexpr const char* className = "UNNotificationContent";
  static void defineClass(ClassFace<UNNotificationContent>& face) {
    face.method<&UNNotificationContent::userInfo>("userInfo");
  }

 private:
  [[nodiscard]] id userInfo() const { return platform::boxed(userInfo_); }
  Value userInfo_;
};

class UNNotificationRequest {
 public:
  explicit UNNotificationRequest(Strong content) : content_(std::move(content)) {}
  static constexpr const char* className = "UNNotificationRequest";
  static void defineClass(ClassFace<UNNotificationRequest>& face) {
    face.method<&UNNotificationRequest::content>("content");
  }

 private:
  [[nodiscard]] id content() const { return content_.get(); }
  Strong content_;
};

class UNNotification {
 public:
  explicit UNNotification(Strong request) : request_(std::move(request)) {}
  static constexpr const char* className = "UNNotification";
  static void defineClass(ClassFace<UNNotification>& face) { face.method<&UNNotification::request>("request"); }

 private:
  [[nodiscard]] id request() const { return request_.get(); }
  Strong request_;
};

class UNNotificationResponse {
 public:
  UNNotificationResponse(Strong notification, Value actionIdentifier)
      : notification_(std::move(notification)), actionIdentifier_(std::move(actionIdentifier)) {}
  static constexpr const char* className = "UNNotificationResponse";
  static void defineClass(ClassFace<UNNotificationResponse>& face) {
    face.method<&UNNotificationResponse::notification>("notification")
        .method<&UNNotificationResponse::actionIdentifier>("actionIdentifier");
  }

 private:
  [[nodiscard]] id notification() const { return notification_.get(); }
  [[nodiscard]] id actionIdentifier() const { return platform::boxed(actionIdentifier_); }
  Strong notification_;
  Value actionIdentifier_;
};

/// The one notification center of a process, `currentNotificationCenter`.
class UNUserNotificationCenter {
 public:
  [[nodiscard]] Strong keptDelegate() const { return delegate_.load(); }

  static constexpr const char* className = "UNUserNotificationCenter";
  static void defineClass(ClassFace<UNUserNotificationCenter>& face) {
    face.classMethod<&host::currentNotificationCenter>("currentNotificationCenter")
        .method<&UNUserNotificationCenter::delegate>("delegate")
        .method<&UNUserNotificationCenter::setDelegate>("setDelegate:")
        .method<&UNUserNotificationCenter::setBadgeCount>("setBadgeCount:withCompletionHandler:");
  }

 private:
  [[nodiscard]] id delegate() const { return delegate_.load().autoreleased(); }
  void setDelegate(id delegate) {
    // Stricter than the platform, which accepts any thread: observers of the delegate are notified on this thread.
    Process::current().mainQueue().requireMainThread("-[UNUserNotificationCenter setDelegate:] is called");
    delegate_.store(delegate);
  }
  void setBadgeCount(std::int64_t count, platform::BlockPtr<void(id)> completion) {
    UIApplication::showBadge(count);
    if (completion == nullptr) return;
    Process::current().mainQueue().async([block = platform::Block<void(id)>(completion)] { block(nullptr); });
  }

  platform::Weak delegate_;  // the code that sets it keeps it alive
};

UNUserNotificationCenter& currentCenter() {
  return platform::Process::shared<platform::Singleton<UNUserNotificationCenter>>().get();
}

constexpr MethodDeclaration centerDelegateMethods[] = {
    {"userNotificationCenter:willPresentNotification:withCompletionHandler:",
     platform::methodEncoding<void, id, id, PresentationHandler>.data()},
    {"userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:",
     platform::methodEncoding<void, id, id, platform::BlockPtr<void()>>.data()},
};

}  // namespace

void installUserNotifications() {
  defineOptionalProtocol("UNUserNotificationCenterDelegate", centerDelegateMethods);
  platform::classOf<UNNotificationContent>();
  platform::classOf<UNNotificationRequest>();
  platform::classOf<UNNotification>();
  platform::classOf<UNNotificationResponse>();
  platform::classOf<UNUserNotificationCenter>();
}

id currentNotificationCenter() { return platform::objectOf(currentCenter()); }

Strong notificationCenterDelegate() { return currentCenter().keptDelegate(); }

Strong makeNotification(const Value& userInfo) {
  return platform::makeObject<UNNotification>(
      platform::makeObject<UNNotificationRequest>(platform::makeObject<UNNotificationContent>(userInfo)));
}

Strong makeNotificationResponse(const Value& userInfo, const Value& actionIdentifier) {
  return platform::makeObject<UNNotificationResponse>(makeNotification(userInfo), actionIdentifier);
}

}  // namespace host
