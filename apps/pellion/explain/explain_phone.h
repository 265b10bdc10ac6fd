#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/phone/url_schemes.h"
#include "pellion/document/application_description.h"
#include "pellion/run/temporary_directory.h"
#include "platform/url_session.h"
#include "services/url_loading/network.h"

namespace host {
class Phone;
struct Event;
}  // namespace host

namespace pellion {

struct Raised {
  std::string name;
  std::string reason;
};

/// What can be observed of a happening from outside the module.
struct Observation {
  std::vector<std::string> log;          ///< the module's lines
  std::vector<platform::Value> entries;  ///< the statistics in the requests that the phone would send
  std::vector<platform::Value> opened;   ///< URLs
  std::vector<platform::Value> badges;   ///< badge counts that were put into the shared store
  std::optional<Raised> raised;          ///< the first
  std::optional<platform::Value> id;     ///< of the notification that the module now treats as the last one
  std::optional<std::string> goal;       ///< the goal that is now pending; empty for none

  [[nodiscard]] bool hasLogged(std::string_view beginning) const;
};

/// A simulated phone whose requests are read instead of sent, so that no data leaves the program and the program never
/// waits. Its application is the default one of a scenario.
class ExplainPhone {
 public:
  using Work = std::function<void()>;

  struct Options {
    host::URLSchemes urlSchemes = {};  ///< in lower case
    bool linkedBefore17 = false;
    platform::Value configuration = {};  ///< valid entries; what they leave out is left out, so that it shows
    std::string whyNothingIsSent = {};   ///< with this configuration; empty if requests are sent
  };
  explicit ExplainPhone(Options options);
  ExplainPhone(const ExplainPhone&) = delete;
  ExplainPhone& operator=(const ExplainPhone&) = delete;
  ~ExplainPhone();

  /// Runs `before` and then `work` in a new process and reports what `work` leads to.
  Observation observe(const Work& work, const Work& before = {});
  /// Reports what more work leads to in the process of the last observation.
  Observation observeNext(const Work& work);
  /// Runs `work` in that process, unobserved; the caller handles what it raises.
  void inProcess(const Work& work);
  [[nodiscard]] const std::string& whyNothingIsSent() const { return whyNothingIsSent_; }

 private:
  void receive(const host::Event& event);
  void read(const platform::URLRequest& request);
  void attempt(const Work& work);

  const ApplicationDescription application_;
  const std::string whyNothingIsSent_;
  TemporaryDirectory storage_;
  services::Network network_;
  Observation seen_;
  std::unique_ptr<host::Phone> phone_;
};

}  // namespace pellion
