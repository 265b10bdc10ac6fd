#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pellion/explain/explain_phone.h"
#include "pellion/payload/payload.h"

namespace pellion {

/// The result of one effect that a happening can have.
struct Outcome {
  enum class State {
    happened,
    stopped,      ///< before the effect, by something about the payload
    notAskedFor,  ///< the payload does not ask for it
    never,        ///< for no payload: this kind of happening cannot have it
  };
  State state = State::never;
  std::vector<platform::Value> results = {};  ///< of the effect
  std::string step = {};                      ///< where it stopped
  std::string why = {};
};

/// Something that can happen to a notification, and what it leads to.
struct Happening {
  enum class Kind { foreground, background, tap, button, unknownButton, dismissal, goal };
  Kind kind;
  std::string name = {};  ///< the button's identifier; the event's name
  Outcome recorded = {};
  Outcome opened = {};           ///< by the automatic path
  Outcome openedByHandler = {};  ///< by the notification handler, where the application uses it
  Outcome goal = {};             ///< the goal that is pending from then on
  Outcome badge = {};            ///< the badge count that is put into the shared store
  std::optional<Raised> raised = {};
  std::string note = {};  ///< when the platform prevents this for this payload

  /// Whether the payload provides for it, so that it should be counted.
  [[nodiscard]] bool isDescribed() const { return kind <= Kind::button; }
  [[nodiscard]] bool isCounted() const { return recorded.state == Outcome::State::happened && !raised; }
};

/// "delivered", "responded" or "converted" for the number in an entry.
std::string nameOfStatus(const platform::Value& status);

/// Makes every possible happening occur, each in its own phone process.
std::vector<Happening> observeHappenings(const Payload& payload, ExplainPhone& phone);
/// The same for what the payload describes, in the process that runs: quick, but one happening may affect a later one.
struct QuickLook {
  std::optional<std::string> failure;  ///< why a happening is not counted, or what it raises
  std::optional<std::string> goal;     ///< that is pending after a tap
};
QuickLook lookQuickly(const Payload& payload, ExplainPhone& phone);

/// The goal as the payload spells it.
std::optional<std::string> spelledGoal(const Payload& payload);

/// `action` is "tap", "dismiss" or the identifier of a button.
Happening observeAction(const Payload& payload, ExplainPhone& phone, const std::string& action);

}  // namespace pellion
