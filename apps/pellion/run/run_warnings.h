#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/phone/observed_event.h"
#include "pellion/document/scenario.h"

namespace pellion {

/// A warning at the end of a run whose expectations hold.
struct Warning {
  Position position;
  std::string subject;
  std::string problem;  ///< a verb and the rest of the sentence
  std::string reason;
  std::string remedy;
  std::string wanted = {};  ///< empty if it fails no strict run either
  std::string found = {};   ///< in the place of `wanted`
};

/// Watches the events of a run and finds five things that its expectations miss:
///
/// A notification that is not counted: a step delivers it or the user responds to it, it carries an id, no statistics
/// entry with that id is sent or still pending at the end, and no later "expect" shows that this is meant.
/// An answer that the module does not accept, of a status that no "backend" step asks for, or a request without an
/// answer, when no "backend" step asks for that and no later "expect" shows that it is meant.
/// A request whose URL lacks the id of the portal, the project or whom it comes from, when no later "expect" has such a
/// URL.
/// A payload for which a phone would neither present a notification nor wake the application.
/// A scenario without any "expect".
class RunWarnings {
 public:
  explicit RunWarnings(const Scenario& scenario) : scenario_(scenario) {}

  void begin(const Step& step) { step_ = static_cast<std::size_t>(&step - scenario_.steps.data()); }
  /// The present step hands over this notification; the name is empty if it has none. A payload that is not whole is
  /// made of "addInfo" alone.
  void handOver(std::string_view name, const platform::Value& payload, bool isWhole);
  /// One thread at a time.
  void observe(const host::Event& event);

  [[nodiscard]] std::vector<Warning> warnings() const;

 private:
  struct HandedOver {
    std::size_t step;
    std::string name;
    std::string id;
    std::string fault;  ///< of the payload; empty if the module can read the id
    std::optional<std::string> reason = {};
  };
  struct Unpresented {
    std::size_t step;
    std::string name;
    std::string reason;
  };
  struct Unaccepted {
    std::size_t step;
    std::optional<std::int64_t> status;  ///< nothing for no answer at all
    std::string reason;
    std::string remedy;
  };

  struct Unaddressed {
    std::size_t step;
    std::string effect;  ///< "addresses no portal"
    std::string target;  ///< path and query
  };

  HandedOver* ofThisStep();
  void observeRequest(const platform::Value& details);
  void observeModule(const host::Event& event);
  [[nodiscard]] bool isExpectedAfter(std::size_t step) const;
  [[nodiscard]] bool isAskedFor(std::int64_t status) const;
  [[nodiscard]] bool isFailureMeant(std::size_t step) const;
  [[nodiscard]] std::optional<Warning> unaccepted(const Unaccepted& answer) const;
  [[nodiscard]] Warning unaddressed(const Unaddressed& request) const;
  [[nodiscard]] Warning unpresented(const Unpresented& notification) const;
  [[nodiscard]] Warning uncounted(const HandedOver& notification) const;

  const Scenario& scenario_;
  std::size_t step_ = 0;
  std::vector<HandedOver> handedOver_;
  std::vector<Unaccepted> unaccepted_;
  std::vector<std::string> sent_;                 ///< ids
  std::vector<std::string> pending_;              ///< ids
  std::vector<Unpresented> unpresented_;          ///< one for each name
  std::vector<Unaddressed> unaddressed_;          ///< one for each effect
  std::map<std::string, std::string> idReasons_;  ///< by effect: what the core library says of the id
  std::optional<std::string> obstacle_;           ///< the last one, unless a request has been sent since
};

}  // namespace pellion
