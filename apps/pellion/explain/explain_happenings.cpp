// The observable effects show how far the module got: its log lines, its properties, what it sent, opened and raised.
// The payload then shows what stopped it there.

#include "pellion/explain/explain_happenings.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "host/phone/core_library.h"
#include "host/phone/system_events.h"
#include "host/phone/user_notifications.h"
#include "messaging/PLMessaging.h"
#include "messaging/PLNotificationHandler.h"
#include "pellion/document/presentation.h"
#include "pellion/payload/button_problems.h"
#include "pellion/payload/content_problems.h"
#include "pellion/payload/link_problems.h"
#include "pellion/timeline/text_lines.h"
#include "platform/block.h"
#include "platform/user_notifications.h"

namespace pellion {
namespace {

using platform::Value;
using Kind = Happening::Kind;
using State = Outcome::State;

constexpr const char* tap = platform::UNNotificationDefaultActionIdentifier;
constexpr const char* dismissal = platform::UNNotificationDismissActionIdentifier;

constexpr const char* parsed = "Push notification JSON payload";
constexpr const char* notParsed = "Error parsing push notification JSON payload";

/// A step of the module's work, and how to observe that it has passed.
struct ModuleStep {
  const char* name;
  bool (*isPast)(const Observation&);
};

const ModuleStep findAddInfo{
    "find addInfo", [](const Observation& o) { return o.hasLogged(parsed) || o.hasLogged(notParsed) || o.raised; }};
const ModuleStep readAddInfo{"read addInfo", [](const Observation& o) { return o.hasLogged(parsed); }};
const ModuleStep readID{"read the id", [](const Observation& o) { return o.id.has_value(); }};
const ModuleStep rememberGoal{"remember the goal", [](const Observation& o) { return o.goal.has_value(); }};
const ModuleStep findButton{"find the button", [](const Observation& o) { return !o.entries.empty() || !o.raised; }};
const ModuleStep openLink{"open the click action", [](const Observation& o) { return !o.raised; }};
const ModuleStep sendEntry{"send the entry", [](const Observation& o) { return !o.entries.empty(); }};
const ModuleStep setBadge{"store a badge", [](const Observation& o) { return !o.badges.empty(); }};
const ModuleStep matchGoal{"match the goal", [](const Observation& o) { return !o.entries.empty(); }};

// In the order in which the module performs them.
const ModuleStep* const deliverySteps[] = {&findAddInfo, &readAddInfo, &readID, &sendEntry};
const ModuleStep* const tapSteps[] = {&findAddInfo, &readAddInfo, &readID, &rememberGoal, &openLink, &sendEntry};
const ModuleStep* const buttonSteps[] = {&findAddInfo, &readAddInfo, &readID, &rememberGoal, &findButton, &openLink};

Outcome happened(std::vector<Value> results) { return {State::happened, std::move(results), {}, {}}; }
Outcome notAskedFor(const ModuleStep& step, std::string why) {
  return {State::notAskedFor, {}, step.name, std::move(why)};
}
Outcome never(const ModuleStep& step, std::string why) { return {State::never, {}, step.name, std::move(why)}; }
Outcome stoppedAt(const ModuleStep& step, std::string why) { return {State::stopped, {}, step.name, std::move(why)}; }

class Observer {
 public:
  Observer(const Payload& payload, ExplainPhone& phone) : payload_(payload), phone_(phone) {}

  Happening deliver(Kind kind, void (*event)(const Value& userInfo)) {
    const Observation seen = phone_.observe([&] { event(payload_.value()); });
    constexpr const char* why = "only a response does that, not a delivery";
    return complete({.kind = kind,
                     .recorded = recorded(seen, deliverySteps, nullptr),
                     .opened = never(openLink, why),
                     .openedByHandler = never(openLink, why),
                     .goal = never(rememberGoal, why),
                     .note = deliveryNote(kind)},
                    seen);
  }

  Happening respond(Kind kind, const std::string& name, const Value& identifier) {
    const Observation seen = phone_.observe([&] { host::deliverResponse(payload_.value(), identifier); });
    const auto steps = kind == Kind::tap ? std::span(tapSteps) : std::span(buttonSteps);
    Happening happening{.kind = kind,
                        .name = name,
                        .recorded = recorded(seen, steps, &identifier),
                        .opened = opened(seen, steps, identifier),
                        .openedByHandler = {},
                        .goal = pendingGoal(seen, steps, identifier),
                        .note = responseNote()};
    happening.openedByHandler = handled(kind, identifier);
    return complete(std::move(happening), seen);
  }

  /// One for each name under which the goal's event may be reported: the pending name, and the payload's own spelling.
  std::vector<Happening> reachGoal() {
    const Observation seen = phone_.observe([&] { host::deliverResponse(payload_.value(), tap); });
    const Outcome pending = pendingGoal(seen, tapSteps, tap);
    std::vector<Happening> happenings;
    if (pending.state != State::happened) return {reportNothing(pending)};
    happenings.push_back(report(*seen.goal));
    const std::optional<std::string> spelled = spelledGoal(payload_);
    if (spelled && *spelled != *seen.goal) happenings.push_back(report(*spelled));
    return happenings;
  }

 private:
  template <class Work>
  auto inProcess(const Work& work) {
    std::optional<decltype(work())> result;
    phone_.inProcess([&] { result.emplace(work()); });
    return std::move(*result);
  }

  /// The entry aps decides which of the two deliveries the platform makes.
  std::string deliveryNote(Kind kind) const {
    if (kind == Kind::background) {
      return wakesApplication(payload_.value())
                 ? ""
                 : "the platform wakes the application only for \"content-available\": 1 in aps";
    }
    return isPresented(payload_.value()) ? ""
                                         : "without an alert, a sound or a badge in aps there is nothing to present";
  }

  /// What a VoIP push shows is the application's decision.
  std::string responseNote() const {
    const bool isPossible = payload_.isVoIP || showsAlert(payload_.value());
    return isPossible ? "" : "without an alert in aps the platform shows nothing to respond to";
  }

  /// The first step that has not passed.
  static const ModuleStep* stop(const Observation& seen, std::span<const ModuleStep* const> steps) {
    const auto step = std::ranges::find_if(steps, [&](const ModuleStep* each) { return !each->isPast(seen); });
    return step == steps.end() ? nullptr : *step;
  }

  Outcome recorded(const Observation& seen, std::span<const ModuleStep* const> steps, const Value* identifier) {
    if (!seen.entries.empty()) return phone_.whyNothingIsSent().empty() ? happened(seen.entries) : unsent();
    const ModuleStep* step = stop(seen, steps);
    return step == nullptr || step == &sendEntry ? unsent() : stopped(*step, identifier);
  }

  Outcome opened(const Observation& seen, std::span<const ModuleStep* const> steps, const Value& identifier) {
    if (!seen.opened.empty()) return happened(seen.opened);
    if (const ModuleStep* step = stop(seen, steps)) return stopped(*step, &identifier);
    const std::optional<Problem> problem = linkProblemOf(identifier);
    if (problem) return stoppedAt(openLink, problem->text);
    const bool isTap = identifier == Value(tap);
    return notAskedFor(openLink, isTap ? "addInfo has no \"clickAction\"" : "the button has no \"clickAction\"");
  }

  Outcome pendingGoal(const Observation& seen, std::span<const ModuleStep* const> steps, const Value& identifier) {
    if (seen.goal && !seen.goal->empty()) return happened({*seen.goal});
    if (seen.goal) return notAskedFor(rememberGoal, "addInfo has no \"conversion\"");
    return stopped(*stop(seen, steps), &identifier);
  }

  Outcome handled(Kind kind, const Value& identifier) {
    std::optional<std::string> resolved;
    bool hasAddInfo = false;
    const Observation seen = phone_.observeNext([&] {
      const PLNotificationHandler& handler = PLNotificationHandler::shared();
      const platform::Strong response = host::makeNotificationResponse(payload_.value(), identifier);
      hasAddInfo = handler.addInfoDictionaryFromUserInfo(payload_.value()).has_value();
      resolved = handler.resolvedClickActionFromResponse(response.get());
      handler.handleNotificationResponse(response.get(), nullptr);
    });
    if (!seen.opened.empty()) return happened(seen.opened);
    if (resolved) {
      const auto problem = inProcess([&] { return linkProblem(payload_, *resolved, {}); });
      return stoppedAt(openLink, problem ? problem->text : "the platform did not open " + inQuotes(*resolved));
    }
    if (kind == Kind::dismissal) return notAskedFor(openLink, "a dismissal opens nothing");
    if (hasAddInfo) return notAskedFor(openLink, "there is no \"clickAction\" with a text for it");
    if (const Value* own = payload_.value().find("addInfo")) {
      if (own == payload_.addInfo) return stopped(readAddInfo, &identifier);
      return stoppedAt(readAddInfo,
                       "the handler takes \"addInfo\" from the payload's top level alone, where it is no "
                       "object and no JSON text of one");
    }
    return stoppedAt(findAddInfo,
                     "the handler looks for \"addInfo\" at the payload's top level alone, where it is not");
  }

  Outcome unsent() const {
    const std::string& why = phone_.whyNothingIsSent();
    return stoppedAt(sendEntry, why.empty() ? "the phone sent no entry" : why);
  }

  /// Why the module did not pass a step that it reached.
  Outcome stopped(const ModuleStep& step, const Value* identifier) {
    return inProcess([&] {
      std::optional<Problem> problem;
      if (&step == &findAddInfo || &step == &readAddInfo || payload_.info() == nullptr) {
        problem = addInfoProblem(payload_);
      } else if (&step == &readID) {
        problem = idProblem(payload_);
      } else if (&step == &rememberGoal) {
        problem = goalProblem(payload_);
      } else if (&step == &findButton) {
        problem = missingButtonProblem(payload_, identifier->text());
      } else if (&step == &openLink) {
        problem = linkProblemOf(*identifier);
      }
      return stoppedAt(step, problem ? problem->text : "the module got no further");
    });
  }

  std::optional<Problem> linkProblemOf(const Value& identifier) {
    return inProcess([&]() -> std::optional<Problem> {
      JSONPath path{"clickAction"};
      if (identifier != Value(tap)) {
        const auto button = buttonIndex(payload_, identifier.text());
        const auto found = button ? buttonLinkPath(payload_, *button) : std::nullopt;
        if (!found) return std::nullopt;
        path = *found;
      } else if (payload_.info()->find("clickAction") == nullptr) {
        return std::nullopt;
      }
      return linkProblem(payload_, nodeAt(*payload_.content, path).value, {true, path});
    });
  }

  Happening report(const std::string& name) {
    const Observation seen = phone_.observe(
        [&] {
          host::announceEngagement(Value::dictionary({{"action", "event"}, {"name", name}}));
        },
        [&] { host::deliverResponse(payload_.value(), tap); });
    Happening happening = reportNothing({});
    happening.name = name;
    happening.note = responseNote();
    if (!phone_.whyNothingIsSent().empty()) {
      happening.recorded = unsent();
    } else if (!seen.entries.empty()) {
      happening.recorded = happened(seen.entries);
    } else {
      happening.recorded = stoppedAt(
          matchGoal, "pending is " + inQuotes(seen.goal.value_or("")) + ", and capitals count when names are compared");
    }
    return complete(std::move(happening), seen);
  }

  /// Without a pending goal there is no event to report.
  static Happening reportNothing(const Outcome& goal) {
    constexpr const char* why = "only a response does that, not an event";
    return {.kind = Kind::goal,
            .name = {},
            .recorded = goal,
            .opened = never(openLink, why),
            .openedByHandler = never(openLink, why),
            .goal = never(rememberGoal, why),
            .badge = noBadge(),
            .raised = {}};
  }

  static Outcome noBadge() { return never(setBadge, "only what the application sets as its badge is stored"); }

  Happening complete(Happening happening, const Observation& seen) const {
    happening.raised = seen.raised;
    happening.badge = !seen.badges.empty() ? happened(seen.badges) : noBadge();
    return happening;
  }

  const Payload& payload_;
  ExplainPhone& phone_;
};

}  // namespace

std::vector<Happening> observeHappenings(const Payload& payload, ExplainPhone& phone) {
  const std::vector<std::string> buttons = buttonIdentifiers(payload);
  std::string unknown = "no such button";
  while (std::ranges::find(buttons, unknown) != buttons.end()) unknown += '?';

  Observer observer(payload, phone);
  std::vector<Happening> happenings{observer.deliver(Kind::foreground, host::deliverInForeground),
                                    observer.deliver(Kind::background, host::deliverInBackground),
                                    observer.respond(Kind::tap, {}, tap)};
  for (const std::string& button : buttons) happenings.push_back(observer.respond(Kind::button, button, button));
  happenings.push_back(observer.respond(Kind::unknownButton, unknown, unknown));
  happenings.push_back(observer.respond(Kind::dismissal, {}, dismissal));
  for (Happening& goal : observer.reachGoal()) happenings.push_back(std::move(goal));
  return happenings;
}

std::string nameOfStatus(const Value& status) {
  constexpr std::array<const char*, 3> names{"delivered", "responded", "converted"};
  const std::int64_t index = status.integer() - 4;
  return index >= 0 && index < 3 ? names.at(static_cast<std::size_t>(index)) : "unknown";
}

std::optional<std::string> spelledGoal(const Payload& payload) {
  const Value* conversion = payload.info() != nullptr ? payload.info()->find("conversion") : nullptr;
  const Value* group = conversion != nullptr ? conversion->find("group") : nullptr;
  const Value* event = conversion != nullptr ? conversion->find("event") : nullptr;
  if (group == nullptr || event == nullptr) return std::nullopt;
  return std::string(group->text()) + "_" + std::string(event->text());
}

QuickLook lookQuickly(const Payload& payload, ExplainPhone& phone) {
  QuickLook look;
  const auto judge = [&](const Observation& seen) {
    if (seen.raised) {
      look.failure = seen.raised->name + ": " + seen.raised->reason;
    } else if (seen.entries.empty() && phone.whyNothingIsSent().empty()) {
      look.failure = "the phone sent no entry";
    }
  };
  judge(phone.observeNext([&] { host::deliverInForeground(payload.value()); }));
  for (const std::string& button : buttonIdentifiers(payload)) {
    judge(phone.observeNext([&] { host::deliverResponse(payload.value(), button); }));
  }
  const Observation tapped = phone.observeNext([&] { host::deliverResponse(payload.value(), tap); });
  judge(tapped);
  look.goal = tapped.goal;
  return look;
}

Happening observeAction(const Payload& payload, ExplainPhone& phone, const std::string& action) {
  Observer observer(payload, phone);
  if (action == "tap") return observer.respond(Kind::tap, {}, tap);
  if (action == "dismiss") return observer.respond(Kind::dismissal, {}, dismissal);
  const bool isKnown = std::ranges::count(buttonIdentifiers(payload), action) > 0;
  return observer.respond(isKnown ? Kind::button : Kind::unknownButton, action, action);
}

}  // namespace pellion
