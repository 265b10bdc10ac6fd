#include "pellion/lab/lab_session.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/phone/core_library.h"
#include "host/phone/phone.h"
#include "pellion/document/presentation.h"
#include "pellion/lab/call_chain.h"
#include "pellion/lab/lab_action.h"
#include "pellion/payload/button_problems.h"
#include "pellion/payload/payload.h"
#include "pellion/steps/observed_expectation.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/text/json_path.h"
#include "pellion/text/json_writer.h"
#include "pellion/timeline/event_text.h"
#include "pellion/timeline/trace.h"
#include "platform/exception.h"
#include "value/printable_text.h"

namespace pellion {
namespace {

using platform::Value;

constexpr std::size_t largestEventText = 16U << 10;  // bytes of the lines of one event
constexpr std::chrono::milliseconds betweenStates{50};
constexpr int mostWaits = 100;

bool expectsRaised(const JSONNode& step) {
  const Value* expectation = step.value.find("expect");
  return expectation != nullptr && expectation->find("raised") != nullptr;
}

/// A step that needs an application that is not running.
bool launches(const JSONNode& step) {
  const std::string_view name = step.members.empty() ? step.value.text() : step.members.front().name;
  const auto kind = std::ranges::find(stepKinds(), name, &StepKind::name);
  return kind != stepKinds().end() && kind->needs == StepKind::Needs::noProcess;
}

Value stepNamed(std::string_view name) { return Value::dictionary({{name, Value::dictionary({})}}); }

/// The lines as lists of pairs of text and colour, cut off where they become too long for a page.
Value linesDocument(const Lines& lines) {
  static constexpr std::string_view inks[] = {"plain", "faint", "strong", "good", "bad", "actor"};
  std::vector<Value> all;
  std::size_t size = 0;
  for (const Line& line : lines) {
    std::vector<Value> spans;
    for (const auto& [text, ink] : line) {
      size += text.size();
      spans.push_back(Value::list({text, inks[static_cast<std::size_t>(ink)]}));
    }
    all.push_back(Value::list(spans));
    if (size > largestEventText) {
      all.push_back(Value::list({Value::list({"\u2026 cut off", "faint"})}));
      break;
    }
  }
  return Value::list(all);
}

}  // namespace

/// One kind of action: what it does, and the entries that it needs.
struct LabSession::ActionKind {
  std::string_view name;
  void (LabSession::*perform)(const Value& action);
  std::vector<std::string_view> needs = {};
};
const LabSession::ActionKind LabSession::actionKinds[] = {{"open", &LabSession::open},
                                                          {"close", &LabSession::close},
                                                          {"kill", &LabSession::kill},
                                                          {"relaunch", &LabSession::relaunch},
                                                          {"next", &LabSession::playNext},
                                                          {"rest", &LabSession::playRest},
                                                          {"deliver", &LabSession::deliverPush, {"payload"}},
                                                          {"extension", &LabSession::recordByExtension, {"payload"}},
                                                          {"respond", &LabSession::respondAs, {"notification", "with"}},
                                                          {"wait", &LabSession::wait},
                                                          {"step", &LabSession::playGiven, {"step"}}};

LabSession::LabSession(SessionDocument document, services::Network& network, std::optional<std::string> server,
                       Emit emit)
    : document_(std::move(document)),
      network_(network),
      server_(std::move(server)),
      emit_(std::move(emit)),
      scenario_(document_.opened()),
      waitingSecrets_(scenario_.redaction),
      state_(scenario_),
      run_(std::make_unique<ScenarioRun>(
          scenario_, network,
          ScenarioRun::Options{.server = server_, .sink = [this](const host::Event& event) { receive(event); }})) {
  run_->begin();
  emitState(false);
  emitChain();
}

// The run reports its last events to this object.
LabSession::~LabSession() { run_.reset(); }

void LabSession::check(const Value& action) {
  constexpr std::string_view file = "the action";
  checkShape(file, placelessNode(action), actionShape, "the action");
  const auto* const kind = std::ranges::find(actionKinds, action.find("do")->text(), &ActionKind::name);
  if (kind == std::end(actionKinds)) {
    throw InputError("there is no action \"" + textIn(action, "do") + "\"; docs/lab.schema.json lists them");
  }
  for (const std::string_view needed : kind->needs) {
    if (action.find(needed) != nullptr) continue;
    throw InputError("the action \"" + std::string(kind->name) + "\" needs \"" + std::string(needed) + "\"");
  }
}

void LabSession::perform(const Value& action) {
  emitState(true);
  const auto* const kind = std::ranges::find(actionKinds, action.find("do")->text(), &ActionKind::name);
  try {
    (this->*kind->perform)(action);
  } catch (...) {
    emitState(false);
    throw;
  }
  emitState(false);
  if (std::exchange(hasNewChain_, false)) emitChain();
}

void LabSession::interrupt() {
  isInterrupted_ = true;
  run_->device().endRequests();
}

std::optional<std::string> LabSession::kept() const {
  if (document_.doneCount() == 0) return std::nullopt;
  return document_.text(server_ ? "--server " + value::printable(withoutUserInfo(*server_)) + " " : "");
}

bool LabSession::isRunning() { return run_->device().process() != nullptr; }

// The actions.

void LabSession::open(const Value& /*action*/) {
  if (!isRunning()) play(stepNamed("launch"));
  play(stepNamed("activate"));
}

/// Nothing of the module runs when the user leaves the application: what follows only arrives in the background.
void LabSession::close(const Value& /*action*/) { state_.setOpen(false); }

void LabSession::kill(const Value& /*action*/) { play(stepNamed("terminate")); }

void LabSession::relaunch(const Value& /*action*/) {
  play(stepNamed(isRunning() ? "relaunch" : "launch"));
  play(stepNamed("activate"));
}

void LabSession::playNext(const Value& /*action*/) {
  if (document_.waiting().empty()) throw InputError("no step waits; open a scenario first");
  const JSONNode next = document_.waiting().front();
  if (isRunning() && launches(next)) {
    throw InputError("the next step launches the application, which runs already; end it with Kill first");
  }
  play(next, false);
  document_.takeWaiting();
  // A warning about a step that was put in between would have no place, and the kept scenario gives no cause for it.
  if (document_.waiting().empty()) run_->conclude(!hasOwnSteps_);
}

void LabSession::playRest(const Value& action) {
  while (!document_.waiting().empty() && !isInterrupted_) {
    const std::size_t failures = failed_.size();
    playNext(action);
    if (failed_.size() > failures) return;
    emitProgress();
  }
}

/// A platform hands a notification to an application that is open, or wakes the application if the notification asks
/// for that; otherwise it only shows it.
void LabSession::deliverPush(const Value& action) {
  const Value payload = payloadIn(action);
  if (!isPresented(payload) && !wakesApplication(payload)) {
    throw InputError("a phone would neither show this notification nor wake the application; see the findings");
  }
  const std::string name = document_.nameOf(payload, textIn(action, "name"));
  const bool isOpen = isRunning() && state_.isOpen();
  if (isOpen && isPresented(payload)) {
    play(Value::dictionary({{"deliver", name}}));
  } else if (wakesApplication(payload)) {
    if (!isRunning()) play(stepNamed("launch"));
    play(Value::dictionary({{"deliverInBackground", name}}));
    state_.setOpen(isOpen);  // it stays where it was
  } else {
    run_->report("platform", "shown without application",
                 Value::dictionary({{"notification", name}, {"payload", payload}}));
    findButtons();
  }
}

void LabSession::recordByExtension(const Value& action) {
  Payload payload = payloadToRecordIn(action);
  std::optional<Value> id;
  run_->device().runExtension([&] {
    run_->attempt("extension", [&] {
      inspect(payload);
      const Value* found = payload.info() == nullptr ? nullptr : payload.info()->find("pellionPnID");
      if (found != nullptr) id = *found;
    });
  });
  if (!id) throw InputError("the payload has no pellionPnID, so the extension records nothing; see the findings");
  const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(run_->device().clock().now());
  const Value entry =
      Value::dictionary({{"notificationid", *id}, {"timestamp", (host::virtualEpoch + time).count()}, {"status", 4}});
  play(Value::dictionary({{"extension", Value::dictionary({{"leaves", Value::list({entry})}})}}));
}

/// As on a phone, a response other than a dismissal brings the application to the foreground, and only a category can
/// ask for dismissals.
void LabSession::respondAs(const Value& action) {
  const std::string name = textIn(action, "notification");
  const std::string with = textIn(action, "with");
  if (!document_.hasNotification(name)) {
    throw InputError("no notification of the session is called \"" + name + "\"; deliver one first");
  }
  if (with == "dismiss" && !document_.hasCategory(name)) {
    return run_->report("user", "dismissed without application", Value::dictionary({{"notification", name}}));
  }
  const bool wasOpen = isRunning() && state_.isOpen();
  if (!isRunning()) play(stepNamed("launch"));
  play(Value::dictionary({{"respond", Value::dictionary({{"to", name}, {"with", with}})}}));
  if (wasOpen) return;
  if (with == "dismiss") return state_.setOpen(false);
  play(stepNamed("activate"));
}

void LabSession::wait(const Value& action) {
  const auto pass = [&](const Value& seconds) { play(Value::dictionary({{"advance", seconds}})); };
  if (const Value* seconds = action.find("seconds")) return pass(*seconds);
  for (int i = 0; i < mostWaits && isRunning() && !isInterrupted_; ++i) {
    const auto due = run_->device().process()->mainQueue().nextDue();
    if (!due) return;
    const auto left = std::max(*due - run_->device().clock().now(), std::chrono::nanoseconds::zero());
    pass(std::chrono::duration<double>(left).count());
  }
}

void LabSession::playGiven(const Value& action) { play(*action.find("step")); }

// Steps.

/// Its errors name no place, as it is in no file.
void LabSession::play(const Value& step) {
  if (!document_.waiting().empty() && expectsRaised(document_.waiting().front())) {
    throw InputError("the next step expects what the last one has raised; press Next step first");
  }
  hasOwnSteps_ = true;
  try {
    play(placelessNode(step), true);
  } catch (const DocumentError& error) {
    throw InputError(error.text());
  }
}

/// A step of the user's gets the expectation that holds after it. One of an opened scenario does not, because that
/// has its own. One that the user puts in between gets no more than it must, as those may count its events. What they
/// leave is expected before the first step that the user adds at the end.
void LabSession::play(const JSONNode& step, bool isOwn) {
  Scenario next = document_.with(step);
  if (server_ && next.steps.back().kind->needsBackend) {
    throw InputError("your own server answers this phone; use the built-in backend for this");
  }
  const bool isObserved = isOwn && document_.waiting().empty();
  if (isObserved && std::exchange(hasUnobserved_, false)) document_.expectMore(observed(scenario_.steps.back()));
  run_->changeScenario([&] { scenario_ = std::move(next); });
  const Step& last = scenario_.steps.back();
  run_->play(last);
  if (!isOwn && !isRaiseExpected()) run_->refuseRaised(last);
  if (hasFailed_.exchange(false)) failed_.insert(document_.doneCount());
  if (changesCallChain(*last.kind)) hasNewChain_ = true;
  document_.add(step, isOwn ? observed(last) : Value());
  if (!isObserved) hasUnobserved_ = true;
  if (last.kind->name == "deliver" || last.kind->name == "deliverInBackground") findButtons();
}

/// By the step that follows the first of those that wait, as in a run of the scenario.
bool LabSession::isRaiseExpected() const {
  return document_.waiting().size() > 1 && expectsRaised(document_.waiting()[1]);
}

Value LabSession::observed(const Step& step) {
  constexpr std::string_view telling[] = {"token", "failToRegister", "deliver", "deliverInBackground",
                                          "tap",   "dismiss",        "respond", "handleResponse",
                                          "goal"};
  const bool isTelling = std::ranges::find(telling, step.kind->name) != std::end(telling);
  const Value::Entry nothingRecorded{"statistics", Value::list({})};
  if (!document_.waiting().empty()) {  // which may expect everything else
    const Value raised = observedExpectation(*run_, ObservedParts::raised);
    std::vector<Value::Entry> entries(raised.entries().begin(), raised.entries().end());
    if (isTelling && !run_->hasUntaken("network", "sends")) entries.push_back(nothingRecorded);
    return entries.empty() ? Value() : Value::dictionary(entries);
  }
  const bool hasOthers =
      scenario_.application != ApplicationDescription{} ||
      std::ranges::any_of(scenario_.steps, [](const Step& each) { return each.kind->name == "kit"; });
  Value expectation = observedExpectation(*run_, hasOthers ? ObservedParts::calls : ObservedParts::answers);
  const bool isEmpty = expectation == Value::dictionary({nothingRecorded});
  return isEmpty && !isTelling ? Value() : expectation;
}

void LabSession::findButtons() {
  if (const auto latest = state_.latest()) state_.setButtons(latest->first, buttonsOf(latest->second));
}

/// What the user may press, as the module finds it. None where the module raises: the timeline shows that later.
std::vector<std::string> LabSession::buttonsOf(const Value& payload) {
  std::vector<std::string> actions;
  run_->device().runExtension([&] {
    try {
      Payload read = readPayload("", compactJSON(payload));
      inspect(read);
      if (read.buttons() != nullptr) actions = buttonIdentifiers(read);
    } catch (const platform::Exception&) {
    } catch (const InputError&) {
    }
  });
  return actions;
}

// Messages.

void LabSession::receive(const host::Event& event) {
  state_.observe(event);
  if (event.actor == "expectation" && event.what == "failed") hasFailed_ = true;
  if (event.actor == "scenario" && event.what == "passed") hasPassed_ = true;
  const Value entry = traceEntry(event);
  std::vector<Value::Entry> entries(entry.entries().begin(), entry.entries().end());
  entries.push_back({"lines", linesDocument(linesOf(event))});
  emit_("event", compactJSON(Value::dictionary(entries)));
}

void LabSession::emitProgress() {
  if (std::chrono::steady_clock::now() - lastState_ > betweenStates) emitState(true);
}

void LabSession::emitState(bool isBusy) {
  const auto now = run_->device().clock().now();
  const auto seconds = [](auto duration) { return std::chrono::duration<double>(duration).count(); };
  std::vector<Value> delegates;
  for (const auto& [name, description] : scenario_.application.delegates) delegates.emplace_back(name);
  std::vector<Value::Entry> entries = state_.entries();
  entries.insert(entries.end(), {{"name", scenario_.name},
                                 {"running", isRunning()},
                                 {"busy", isBusy},
                                 {"time", seconds(now)},
                                 {"now", seconds(now + host::virtualEpoch)},
                                 {"steps", stepsDocument()},
                                 {"outcome", !failed_.empty() ? "failed"
                                             : hasPassed_     ? "passed"
                                                              : Value()},
                                 {"delegates", Value::list(delegates)},
                                 {"server", server_ ? Value(*server_) : Value()},
                                 {"canBeKept", document_.doneCount() > 0}});
  emit_("state", compactJSON(scenario_.redaction.value(Value::dictionary(entries))));
  lastState_ = std::chrono::steady_clock::now();  // a large one takes time itself
}

Value LabSession::stepsDocument() const {
  std::vector<Value> steps;
  const auto add = [&](const JSONNode& step, std::string_view state) {
    steps.push_back(Value::dictionary({{"text", waitingSecrets_.text(compactJSON(step.value))}, {"state", state}}));
  };
  for (std::size_t i = 0; i < document_.doneCount(); ++i) {
    add(document_.done(i), failed_.contains(i) ? "failed" : "done");
  }
  for (const JSONNode& step : document_.waiting()) add(step, "waiting");
  return Value::list(steps);
}

void LabSession::emitChain() { emit_("chain", compactJSON(callChain(scenario_, *run_, network_))); }

}  // namespace pellion
