#include "pellion/steps/application_steps.h"

#include <map>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "host/phone/phone.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "pellion/run/application_objects.h"
#include "pellion/run/scenario_run.h"
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

void launch(ScenarioRun& run, const JSONNode& /*nothing*/) {
  run.phone().launch();
  run.inProcess([&] { startApplication(run.scenario().application); });
}

void startService(ScenarioRun& run, const JSONNode& /*nothing*/) {
  run.report("app", "starts service", Value::dictionary({}));
  run.inProcess([] { PLMessaging::startService(); });
}

void setDelegate(ScenarioRun& run, const JSONNode& name) {
  run.report("app", "sets delegate", Value::dictionary({{"name", name.value}, {"of", "application"}}));
  run.inProcess([&] { setDelegateOf(host::UIApplication::sharedApplication(), nameOf(name)); });
}

void setNotificationDelegate(ScenarioRun& run, const JSONNode& name) {
  run.report("app", "sets delegate", Value::dictionary({{"name", name.value}, {"of", "notificationCenter"}}));
  run.inProcess([&] { setDelegateOf(host::currentNotificationCenter(), nameOf(name)); });
}

void registerInterceptor(ScenarioRun& run, const JSONNode& name) {
  run.inProcess([&] {
    const std::string interceptor(name.value.text());
    auto& identifier = platform::Process::shared<InterceptorIDs>().byName[interceptor];
    identifier = PLAppDelegateSwizzler::registerAppDelegateInterceptor(objects().object(interceptor).get());
    run.report("app", "registers interceptor",
               Value::dictionary({{"name", interceptor}, {"isRefused", !identifier.has_value()}}));
  });
}

void unregisterInterceptor(ScenarioRun& run, const JSONNode& name) {
  run.report("app", "unregisters interceptor", Value::dictionary({{"name", name.value}}));
  run.inProcess([&] {
    const auto& identifier = platform::Process::shared<InterceptorIDs>().byName[std::string(name.value.text())];
    PLAppDelegateSwizzler::unregisterAppDelegateInterceptorWithIdentifier(platform::orNull(identifier));
  });
}

void release(ScenarioRun& run, const JSONNode& name) {
  run.inProcess([&] {
    const bool isGone = objects().release(std::string(name.value.text()));
    run.report("app", "releases", Value::dictionary({{"name", name.value}, {"isGone", isGone}}));
  });
}

void checkDelegate(const Scenario& scenario, const JSONNode& name) {
  checkDelegateName(scenario.file, scenario.application, name);
}

}  // namespace pellion
