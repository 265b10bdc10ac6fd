#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pellion/explain/explain_payload.h"
#include "pellion/explain/explain_phone.h"

namespace pellion {

/// What became of one thing that a happening may bring about.
struct Outcome {
  enum class State {
    happened,
    stopped,      ///< on the way, by something about the payload
    notAskedFor,  ///< by the payload
    never,        ///< by no payload: this kind of happening does not bring it about
  };
  State state = State::never;
  std::vector<platform::Value> results = {};  ///< of what happened
  std::string step = {};                      ///< at which it stopped
  std::string why = {};
};

/// Something that can happen to a notification, and what comes of it.
struct Happening {
  enum class Kind { foreground, background, tap, button, unknownButton, dismissal, goal };
  Kind kind;
  std::string name = {};  ///< the button's identifier; the event's name
  Outcome recorded = {};
  Outcome opened = {};           ///< by the automatic path
  Outcome openedByHandler = {};  ///< by the notification handler, where the application uses it
  Outcome goal = {};             ///< that is pending from then on
  Outcome badge = {};            ///< that is put into the shared store
  std::optional<Raised> raised = {};
  std::string note = {};  ///< when the platform does not let it happen to this payload

  /// Something that the payload provides for, so that it ought to be counted.
  [[nodiscard]] bool isDescribed() const { return kind <= Kind::button; }
  [[nodiscard]] bool isCounted() const { return recorded.state == Outcome::State::happened && !raised; }
};

/// Lets everything happen that can, each on a phone process of its own.
std::vector<Happening> observeHappenings(const Payload& payload, ExplainPhone& phone);
/// "tap", "dismiss" or the identifier of a button.
Happening observeAction(const Payload& payload, ExplainPhone& phone, const std::string& action);

}  // namespace pellion
