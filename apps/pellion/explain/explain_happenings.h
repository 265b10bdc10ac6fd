#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pellion/explain/explain_payload.h"
#include "pellion/explain/explain_phone.h"

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

/// Makes every possible happening occur, each in its own phone process.
std::vector<Happening> observeHappenings(const Payload& payload, ExplainPhone& phone);
/// `action` is "tap", "dismiss" or the identifier of a button.
Happening observeAction(const Payload& payload, ExplainPhone& phone, const std::string& action);

}  // namespace pellion
