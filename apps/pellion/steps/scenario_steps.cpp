#include "pellion/steps/scenario_steps.h"

#include <thread>
#include <utility>

#include "host/phone/phone.h"
#include "host/phone/system_events.h"
#include "pellion/document/configuration_check.h"
#include "pellion/run/scenario_run.h"
#include "pellion/steps/application_expectation.h"
#include "pellion/steps/application_steps.h"
#include "pellion/steps/backend_step.h"
#include "pellion/steps/extension_step.h"
#include "pellion/steps/notification_steps.h"
#include "pellion/steps/other_kit.h"
#include "pellion/steps/scenario_expectation.h"
#include "pellion/text/input_file.h"

namespace pellion {
namespace {

using platform::Value;
using Needs = StepKind::Needs;

void say(ScenarioPhone& phone, const JSONNode& text) {
  phone.report("scenario", "says", Value::dictionary({{"text", text.value}}));
}

void token(ScenarioPhone& phone, const JSONNode& hex) {
  phone.report("platform", "token", Value::dictionary({{"token", hex.value}}));
  const std::optional<Value> bytes =
      hex.value.isNull() ? std::nullopt : std::optional(phone.token(bytesOfHex(hex.value.text())));
  phone.inProcess([&] { host::deliverDeviceToken(platform::orNull(bytes)); });
}

void failToRegister(ScenarioPhone& phone, const JSONNode& error) {
  constexpr std::int64_t notEntitled = 3000;  // the platform's error code for an application that may not register
  phone.report("platform", "registration failed", Value::dictionary({{"error", error.value}}));
  phone.inProcess([&] {
    host::failToRegisterForRemoteNotifications(
        {std::string(platform::cocoaErrorDomain), notEntitled, std::string(error.value.text())});
  });
}

/// The user's decisions, and the configuration key under which the core library finds each.
constexpr std::pair<std::string_view, std::string_view> consentKeys[] = {{"anonymousUser", "ANONYMOUS_USER"},
                                                                         {"anonymousTracking", "ANONYMOUS_TRACKING"},
                                                                         {"anonymousId", "ANONYMOUS_ID"},
                                                                         {"deviceId", "DEVICE_ID"}};
const Field consentFields[] = {{"anonymousUser", &shapes::boolean},
                               {"anonymousTracking", &shapes::boolean},
                               {"anonymousId", &shapes::plainTextOrNull},
                               {"deviceId", &shapes::plainTextOrNull}};

void consent(ScenarioPhone& phone, const JSONNode& decisions) {
  std::vector<Value::Entry> overrides;
  for (const auto& [name, key] : consentKeys) {
    if (const Value* decision = decisions.value.find(name)) overrides.push_back({key, *decision});
  }
  phone.report("user", "consent", decisions.value);
  phone.configure(overrides);
  phone.inProcess([&] { phone.device().announceTrackingStatus(); });
}

void configure(ScenarioPhone& phone, const JSONNode& overrides) {
  std::vector<Value::Entry> shown;
  for (const auto& [key, value] : overrides.value.entries()) {
    const bool isSecret = key == Value("BEARER_TOKEN") || key == Value("JWT_SECRET");
    shown.push_back({key, isSecret && !value.isNull() ? Value("\u2026") : value});
  }
  phone.report("scenario", "configures", Value::dictionary(shown));
  phone.configure(overrides.value.entries());
}

void advance(ScenarioRun& run, const JSONNode& seconds) {
  const std::chrono::nanoseconds duration = durationOf(seconds.value);
  constexpr std::chrono::nanoseconds longestRun = std::chrono::years(100);
  if (duration > longestRun - run.device().clock().now()) {
    throw InputError(run.place(seconds) +
                     ": the steps advance the time by more than a hundred years in total; advance by less");
  }
  run.report("clock", "advances", Value::dictionary({{"seconds", seconds.value}}));
  if (run.device().process() != nullptr) {
    run.letPass(duration);
  } else if (host::Clock& clock = run.device().clock(); clock.isVirtual()) {
    clock.advanceTo(clock.now() + duration);
  } else {
    std::this_thread::sleep_for(duration);
  }
}

const Shape nothingShape{"nothing: the name alone, or {}",
                         [](const Value& value) { return isObject(value) && value.entries().empty(); }};
const Shape consentShape{"an object with at least one of the user's decisions",
                         [](const Value& value) { return isObject(value) && !value.entries().empty(); }, consentFields};

const StepKind kinds[] = {
    {"say", &shapes::text, say, Needs::nothing},
    {"launch", &nothingShape, launch, Needs::noProcess},
    {"relaunch", &nothingShape, launch, Needs::process},
    {.name = "terminate", .shape = &nothingShape, .run = terminate, .needs = Needs::process, .endsProcess = true},
    {"startService", &nothingShape, startService, Needs::process},
    {"setDelegate", &shapes::textOrNull, setDelegate, Needs::process, false, checkDelegate},
    {"setNotificationDelegate", &shapes::textOrNull, setNotificationDelegate, Needs::process, false, checkDelegate},
    {"registerInterceptor", &shapes::text, registerInterceptor, Needs::process, false, checkDelegate},
    {"unregisterInterceptor", &shapes::text, unregisterInterceptor, Needs::process, false, checkDelegate},
    {"release", &shapes::text, release, Needs::process, false, checkDelegate},
    {"kit", &kitShape, rewire, Needs::process, false, checkKits},
    {"token", &shapes::hexOrNull, token, Needs::process},
    {"failToRegister", &shapes::text, failToRegister, Needs::process},
    {"consent", &consentShape, consent, Needs::process},
    {"deliver", &namedNotificationShape, deliver, Needs::process, false, checkNotificationName},
    {"deliverInBackground", &namedNotificationShape, deliverInBackground, Needs::process, false, checkNotificationName},
    {"tap", &namedNotificationShape, tap, Needs::process, false, checkNotificationName},
    {"dismiss", &namedNotificationShape, dismiss, Needs::process, false, checkNotificationName},
    {"respond", &responseShape, respond, Needs::process, false, checkAnsweredName, "to"},
    {"handleResponse", &responseShape, handleResponse, Needs::process, false, checkAnsweredName, "to"},
    {"goal", &shapes::text, reportGoal, Needs::process},
    {"endSession", &sessionEndShape, endSession, Needs::process, false, nullptr, "duration"},
    {"activate", &nothingShape, activate, Needs::process},
    {"badge", &badgeStepShape, setBadge, Needs::process, false, nullptr, "count"},
    {"extension", &extensionShape, runExtension, Needs::nothing, false, nullptr, "leaves"},
    {"configure", &configurationShape, configure, Needs::nothing},
    {"backend", &backendShape, backend, Needs::nothing, true, nullptr, "status"},
    {"advance", &shapes::seconds, advance, Needs::nothing},
    {"expect", &expectationShape, expect, Needs::nothing, false, checkCallNames},
};

}  // namespace

std::span<const StepKind> stepKinds() { return kinds; }

Scenario readScenario(std::string_view file, std::string_view text) { return readScenario(file, text, kinds); }

Scenario readScenario(const std::string& path) {
  return readScenario(inputName(path),
                      readInputFile(path, {"a scenario, a JSON document", "a scenario is a few pages of JSON"}));
}

std::vector<std::string> filesNamedBy(const std::string& path) {
  if (path == "-") return {};  // it can be read only once
  try {
    std::vector<std::string> paths;
    const JSONNode document = readJSON(path, readInputFile(path, {}), JSONForm::commented);
    for (NamedFile& named : filesNamedIn(path, document, kinds)) paths.push_back(std::move(named.path));
    return paths;
  } catch (const InputError&) {
    return {};
  }
}

}  // namespace pellion
