#include "pellion/lab/call_chain.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/phone/phone.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "pellion/document/configuration_check.h"
#include "pellion/run/application_objects.h"
#include "pellion/steps/other_kit.h"
#include "pellion/steps/scenario_steps.h"
#include "platform/object_messages.h"

namespace pellion {
namespace {

using platform::Value;

constexpr std::string_view module = "module";

// What the runtime has.

Value ownerOf(Callback callback, const std::string& cls, IMP implementation) {
  std::string owner(module);
  std::string_view kind = module;
  if (const auto kit = kitWith(callback, implementation)) {
    owner = *kit;
    kind = "kit";
  } else if (isApplicationsImplementation(callback, implementation)) {
    owner = cls;
    kind = "application";
  }
  return Value::dictionary({{"callback", kindOf(callback).name}, {"owner", owner}, {"kind", kind}});
}

std::vector<Value> methodsOf(Class cls, std::span<const Callback> callbacks) {
  std::vector<Value> methods;
  for (const Callback callback : callbacks) {
    const SEL selector = sel_registerName(kindOf(callback).selector);
    const Method method = class_getInstanceMethod(cls, selector);
    if (method == nullptr || method == class_getInstanceMethod(class_getSuperclass(cls), selector)) continue;
    methods.push_back(ownerOf(callback, class_getName(cls), method_getImplementation(method)));
  }
  return methods;
}

/// Up to the class that all objects of the application have in common.
Value classesOf(id delegate, std::span<const Callback> callbacks) {
  std::vector<Value> classes;
  for (Class cls = delegate == nullptr ? nullptr : object_getClass(delegate);
       cls != nullptr && class_getSuperclass(cls) != nullptr && !isBaseOfApplication(cls);
       cls = class_getSuperclass(cls)) {
    classes.push_back(
        Value::dictionary({{"name", class_getName(cls)}, {"methods", Value::list(methodsOf(cls, callbacks))}}));
  }
  return Value::list(classes);
}

Value delegatesIn(host::Process& process) {
  static constexpr Callback all[] = {Callback::token, Callback::failure, Callback::background, Callback::foreground,
                                     Callback::response};
  const host::ProcessScope scope(process);
  const auto& objects = platform::Process::shared<ApplicationObjects>();
  const auto describe = [&](std::string_view of, id owner, std::span<const Callback> callbacks) {
    const platform::Strong delegate = platform::property(owner, "delegate");
    const auto name = objects.nameOf(delegate.get());
    return Value::dictionary(
        {{"of", of}, {"object", name ? Value(*name) : Value()}, {"classes", classesOf(delegate.get(), callbacks)}});
  };
  return Value::list({describe("application", host::UIApplication::sharedApplication(), std::span(all).first(3)),
                      describe("notificationCenter", host::currentNotificationCenter(), std::span(all).last(2))});
}

// What a trial shows.

/// A participant's name and kind.
using Participant = std::pair<std::string, std::string>;

/// The calls of one callback of a trial.
struct Trial {
  Callback callback;
  std::vector<Participant> order = {};
  std::optional<std::string> raised = {};

  void add(const Participant& participant) {
    const bool isNews = participant.second != module || std::ranges::find(order, participant) == order.end();
    if (isNews) order.push_back(participant);
  }
};

/// Watches a trial: who takes part, and who should.
class Watcher {
 public:
  explicit Watcher(const ApplicationDescription& application) : application_(application) {}

  void observe(const host::Event& event) {
    const std::lock_guard lock(mutex_);
    if (event.actor == "app" && event.what == "rewired") addKit(event.details);
    if (event.actor == "app" && event.what == "registers interceptor") interceptors_.insert(nameIn(event.details));
    if (event.actor == "app" && event.what == "unregisters interceptor") interceptors_.erase(nameIn(event.details));
    if (event.actor == "app" && event.what == "releases" && *event.details.find("isGone") == Value(true)) {
      interceptors_.erase(nameIn(event.details));
    }
    if (trial_ == nullptr) return;
    if (event.what == "raised") {
      trial_->raised =
          std::string(event.details.find("name")->text()) + ": " + std::string(event.details.find("reason")->text());
    } else if (event.actor == module) {
      trial_->add({std::string(module), std::string(module)});
    } else if (event.actor == "app" && event.what == "called") {
      trial_->add({nameIn(event.details), kindOfCalled(event.details)});
    }
  }

  /// From now on events belong to this trial.
  void watch(Trial* trial) {
    const std::lock_guard lock(mutex_);
    trial_ = trial;
  }

  /// Who should take part in the callback when the delegate of its side has this name.
  [[nodiscard]] std::vector<Participant> expected(Callback callback, const std::optional<std::string>& delegate) const {
    std::vector<Participant> all;
    for (const auto& [name, callbacks] : kits_) {
      const auto& names = callbacks.elements();
      if (std::ranges::find(names, Value(kindOf(callback).name)) != names.end()) all.emplace_back(name, "kit");
    }
    const bool isApplications = callback <= Callback::background;
    for (const std::string& name : interceptors_) {
      if (isApplications && implementer(name, callback)) all.emplace_back(name, "interceptor");
    }
    all.emplace_back(module, module);
    if (delegate) {
      if (const auto name = implementer(*delegate, callback)) all.emplace_back(*name, "application");
    }
    return all;
  }

 private:
  static std::string nameIn(const Value& details) { return std::string(details.find("name")->text()); }

  void addKit(const Value& details) { kits_.emplace_back(nameIn(details), *details.find("callbacks")); }

  [[nodiscard]] std::string kindOfCalled(const Value& details) const {
    if (details.find("passesOn") != nullptr) return "kit";
    return interceptors_.contains(nameIn(details)) ? "interceptor" : "application";
  }

  /// The object that has the method: the one of that name, or the one to which it forwards.
  [[nodiscard]] std::optional<std::string> implementer(const std::string& name, Callback callback) const {
    const auto found = application_.delegates.find(name);
    if (found == application_.delegates.end()) return std::nullopt;
    const DelegateDescription& described = found->second;
    if (described.implements.contains(callback)) return name;
    const auto& ancestor = described.classOf ? described.classOf : described.inherits;
    if (ancestor) {
      const auto inherited = implementer(*ancestor, callback);
      if (inherited) return *inherited == *ancestor ? name : inherited;
    }
    return described.forwardsTo ? implementer(*described.forwardsTo, callback) : std::nullopt;
  }

  const ApplicationDescription& application_;
  std::mutex mutex_;
  std::vector<std::pair<std::string, Value>> kits_;
  std::set<std::string> interceptors_;
  Trial* trial_ = nullptr;
};

/// In the order of Callback.
constexpr std::string_view trialSteps = R"([
  {"token": "0aff00d1e2f30415"},
  {"failToRegister": "a trial"},
  {"deliverInBackground": {"payload": {"aps": {"alert": "A trial"}, "addInfo": "{\"pellionPnID\": 1}"}}},
  {"deliver": {"payload": {"aps": {"alert": "A trial"}, "addInfo": "{\"pellionPnID\": 1}"}}},
  {"respond": {"to": {"payload": {"aps": {"alert": "A trial"}, "addInfo": "{\"pellionPnID\": 1}"}}, "with": "tap"}}
])";

constexpr std::ptrdiff_t trialCount = 5;

/// The steps of the present process that matter and then a step for each callback, with a configuration that lets each
/// reach its end.
Scenario trialOf(const Scenario& scenario) {
  Scenario trial = scenario;
  const auto launched = std::find_if(trial.steps.rbegin(), trial.steps.rend(), [](const Step& step) {
    return step.kind->name == "launch" || step.kind->name == "relaunch";
  });
  if (launched != trial.steps.rend()) trial.steps.erase(trial.steps.begin(), std::prev(launched.base()));
  std::erase_if(trial.steps, [](const Step& step) { return !changesCallChain(*step.kind); });
  std::vector<Step> callbacks = readSteps(trial, readJSON("", trialSteps), stepKinds());
  std::ranges::move(callbacks, std::back_inserter(trial.steps));
  trial.configuration = defaultConfiguration();
  return trial;
}

Value documentOf(const std::vector<Participant>& participants) {
  std::vector<Value> list;
  list.reserve(participants.size());
  for (const auto& [name, kind] : participants) list.push_back(Value::dictionary({{"name", name}, {"kind", kind}}));
  return Value::list(list);
}

Value documentOf(const Trial& trial, const std::vector<Participant>& expected) {
  std::vector<Participant> missing;
  for (const Participant& each : expected) {
    const auto isThisOne = [&](const Participant& called) { return called.first == each.first; };
    if (std::ranges::none_of(trial.order, isThisOne)) missing.push_back(each);
  }
  return Value::dictionary({{"callback", kindOf(trial.callback).name},
                            {"order", documentOf(trial.order)},
                            {"missing", documentOf(missing)},
                            {"raised", trial.raised ? Value(*trial.raised) : Value()}});
}

Value callbacksOf(const Scenario& scenario, services::Network& network, const Value& delegates) {
  const Scenario trial = trialOf(scenario);
  Watcher watcher(trial.application);
  ScenarioRun run(trial, network, {.sink = [&](const host::Event& event) { watcher.observe(event); }});
  run.begin();
  const auto [first, last] = std::pair(trial.steps.end() - trialCount, trial.steps.end());
  std::for_each(trial.steps.begin(), first, [&](const Step& step) { run.play(step); });
  std::vector<Value> callbacks;
  for (auto step = first; step != last; ++step) {
    Trial one{static_cast<Callback>(step - first)};
    watcher.watch(&one);
    run.play(*step);
    watcher.watch(nullptr);
    const Value& delegate = *delegates.elements()[one.callback <= Callback::background ? 0 : 1].find("object");
    const auto name = delegate.isNull() ? std::nullopt : std::optional<std::string>(delegate.text());
    callbacks.push_back(documentOf(one, watcher.expected(one.callback, name)));
  }
  return Value::list(callbacks);
}

}  // namespace

bool changesCallChain(const StepKind& kind) {
  constexpr std::string_view names[] = {"launch",
                                        "relaunch",
                                        "terminate",
                                        "startService",
                                        "setDelegate",
                                        "setNotificationDelegate",
                                        "registerInterceptor",
                                        "unregisterInterceptor",
                                        "release",
                                        "kit"};
  return std::ranges::find(names, kind.name) != std::end(names);
}

Value callChain(const Scenario& scenario, ScenarioRun& run, services::Network& network) {
  host::Process* process = run.device().process();
  if (process == nullptr) return Value::dictionary({{"delegates", Value::list({})}, {"callbacks", Value::list({})}});
  const Value delegates = delegatesIn(*process);
  return Value::dictionary({{"delegates", delegates}, {"callbacks", callbacksOf(scenario, network, delegates)}});
}

}  // namespace pellion
