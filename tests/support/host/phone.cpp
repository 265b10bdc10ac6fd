#include "tests/support/phone.h"

#include "host/phone/system_events.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "tests/messaging/messaging_phone.h"

namespace test {

struct Phone::State {
  MessagingPhone phone{std::vector<platform::Value::Entry>{{"LOG_LEVEL", "verbose"}}};
  host::ProcessScope scope{*phone->process()};
};

Phone::Phone() : state_(std::make_unique<State>()) {}
Phone::~Phone() = default;

void Phone::run(const std::function<void()>& work) { state_->phone.run(work); }
std::vector<std::string> Phone::takeLog() { return state_->phone.takeLog(); }
std::vector<std::string> Phone::takeLines() { return state_->phone.takeLines(); }
std::vector<platform::Value> Phone::take(std::string_view what) { return state_->phone.take(what); }
std::vector<platform::Value> Phone::takeEntries() { return state_->phone.takeEntries(); }

id sharedApplication() { return host::UIApplication::sharedApplication(); }
id currentNotificationCenter() { return host::currentNotificationCenter(); }
platform::Strong makeNotification(const platform::Value& userInfo) { return host::makeNotification(userInfo); }
platform::Strong makeNotificationResponse(const platform::Value& userInfo, const platform::Value& action) {
  return host::makeNotificationResponse(userInfo, action);
}
void startApplication(const platform::Strong& delegate) { host::startApplication(delegate); }
void deliverDeviceToken(const platform::Value* token) { host::deliverDeviceToken(token); }
void failToRegisterForRemoteNotifications(const platform::Error& error) {
  host::failToRegisterForRemoteNotifications(error);
}
void deliverInBackground(const platform::Value& userInfo) { host::deliverInBackground(userInfo); }
void deliverInForeground(const platform::Value& userInfo) { host::deliverInForeground(userInfo); }
void deliverResponse(const platform::Value& userInfo, const platform::Value& action) {
  host::deliverResponse(userInfo, action);
}

}  // namespace test
