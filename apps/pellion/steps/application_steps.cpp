#include "pellion/steps/application_steps.h"

#include <map>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "host/phone/phone.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "pellion/run/application_objects.h"
#include "pellion/run/scenario_phone.h"
#include "platform/object_messages.h"
#include "platform/process.h"

namespace pellion {
namespace {

using platform::Value;

ApplicationObjects& objects() { return platform::Process::shared<ApplicationObjects>(); }

std::optional<std::string> nameOf(const JSONNode& name) {
  return name.value.isNull() ? std::nullopt : std::optional<std::string>(name.value.text());
}

void setDelegateOf(id owner, const std::optional<std::string>& name) {
  platform::setDelegate(owner, objects().object(name).get());
}

/// The identifiers that an application keeps for its interceptors, by name; no value when it received none.
struct InterceptorIDs {
  std::map<std::string, std::optional<std::string>> byName;
};

}  // namespace

void launch(ScenarioPhone& phone, const JSONNode& /*nothing*/) {
  phone.device().launch();
  phone.inProcess([&] { startApplication(phone.scenario().application); });
}

void terminate(ScenarioPhone& phone, const JSONNode& /*nothing*/) { phone.device().terminate(); }

void startService(ScenarioPhone& phone, const JSONNode& /*nothing*/) {
  phone.report("app", "starts service", Value::dictionary({}));
  phone.inProcess([] { PLMessaging::startService(); });
}

void setDelegate(ScenarioPhone& phone, const JSONNode& name) {
  phone.report("app", "sets delegate", Value::dictionary({{"name", name.value}, {"of", "application"}}));
  phone.inProcess([&] { setDelegateOf(host::UIApplication::sharedApplication(), nameOf(name)); });
}

void setNotificationDelegate(ScenarioPhone& phone, const JSONNode& name) {
  phone.report("app", "sets delegate", Value::dictionary({{"name", name.value}, {"of", "notificationCenter"}}));
  phone.inProcess([&] { setDelegateOf(host::currentNotificationCenter(), nameOf(name)); });
}

void registerInterceptor(ScenarioPhone& phone, const JSONNode& name) {
  phone.inProcess([&] {
    const std::string interceptor(name.value.text());
    auto& identifier = platform::Process::shared<InterceptorIDs>().byName[interceptor];
    identifier = PLAppDelegateSwizzler::registerAppDelegateInterceptor(objects().object(interceptor).get());
    phone.report("app", "registers interceptor",
                 Value::dictionary({{"name", interceptor}, {"isRefused", !identifier.has_value()}}));
  });
}

void unregisterInterceptor(ScenarioPhone& phone, const JSONNode& name) {
  phone.report("app", "unregisters interceptor", Value::dictionary({{"name", name.value}}));
  phone.inProcess([&] {
    const auto& identifier = platform::Process::shared<InterceptorIDs>().byName[std::string(name.value.text())];
    PLAppDelegateSwizzler::unregisterAppDelegateInterceptorWithIdentifier(platform::orNull(identifier));
  });
}

void release(ScenarioPhone& phone, const JSONNode& name) {
  phone.inProcess([&] {
    const bool isGone = objects().release(std::string(name.value.text()));
    phone.report("app", "releases", Value::dictionary({{"name", name.value}, {"isGone", isGone}}));
  });
}

void checkDelegate(const Scenario& scenario, const JSONNode& name) {
  checkDelegateName(scenario.file, scenario.application, name);
}

}  // namespace pellion
