#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/phone/clock.h"
#include "host/phone/observed_event.h"
#include "pellion/backend/backend.h"
#include "pellion/document/scenario.h"
#include "pellion/run/mismatch.h"
#include "pellion/run/run_warnings.h"
#include "pellion/run/scenario_phone.h"
#include "pellion/run/temporary_directory.h"
#include "services/url_loading/network.h"

namespace pellion {

/// One run of a scenario: a new phone, its own backend or an external server, and the events so far.
class ScenarioRun final : public ScenarioPhone {
 public:
  struct Options {
    std::optional<std::string> server = {};  ///< replaces the run's own backend
    host::Clock::Kind clock = host::Clock::Kind::virtualTime;
    host::EventSink sink = {};  ///< called by one thread at a time
    bool isStrict = false;      ///< fails for what would only be a warning: see RunWarnings
  };

  /// The scenario and the network outlive this object. For a run against a server the scenario must have passed
  /// refuseBackendSteps.
  ScenarioRun(const Scenario& scenario, services::Network& network, Options options);
  ~ScenarioRun();

  /// Runs the steps up to the first failure, then reports warnings; returns whether all passed. Throws InputError for a
  /// configuration that turns out to be unusable.
  bool run();
  /// For a session whose steps come one by one, in place of run(): what that does before the first step. Throws as
  /// run().
  void begin();
  /// Performs a step of the scenario. Throws as run().
  void play(const Step& step);
  /// Makes the run fail at this step if that raised something, which the next step must expect. Returns whether it did.
  bool refuseRaised(const Step& step);
  /// Reports warnings, unless the run has failed, and whether it passed.
  void conclude(bool withWarnings = true);
  /// Calls `change`, which may change the scenario. Between steps: events of other threads wait meanwhile.
  void changeScenario(const std::function<void()>& change);
  /// The position of the expectation or step that made the run fail.
  [[nodiscard]] std::optional<Position> failedAt() const { return failedAt_; }

  // For the steps:
  [[nodiscard]] host::Phone& device() override { return *phone_; }
  [[nodiscard]] Backend& backend() { return *backend_; }
  void report(std::string_view actor, std::string_view what, platform::Value details) override;
  void configure(std::span<const platform::Value::Entry> overrides) override;
  [[nodiscard]] std::optional<std::string> appGroup() const override;
  bool isNews(std::string_view name) override { return known_.emplace(name).second; }
  void handsOver(std::string_view name, const platform::Value& payload, bool isWhole) override;
  /// Ends idle. Events of other threads meanwhile are reported after those of the main thread at this instant, so that
  /// a timeline reads the same each time.
  void inProcess(const std::function<void()>& work) override;
  /// Reports what `work` raises, too. The next step must expect it, otherwise the run fails.
  void attempt(std::string_view actor, const std::function<void()>& work) override;
  /// Ends the run after this step, as failed because of an expectation at that position.
  void fail(Position position, const Mismatches& mismatches);
  /// Advances the time inside the process.
  void letPass(std::chrono::nanoseconds duration);
  /// The details of the events of this kind since the last call for this kind.
  std::vector<platform::Value> take(std::string_view actor, std::string_view what);
  /// Whether take() for this kind would return anything.
  bool hasUntaken(std::string_view actor, std::string_view what);
  /// The requests that the phone has sent since the last call, in the order in which their connections were
  /// established.
  std::vector<ReceivedRequest> takeRequests();
  /// The exceptions raised since the last call, as "name: reason".
  std::vector<std::string> takeRaised() { return std::exchange(raised_, {}); }

 private:
  void receive(const host::Event& event);
  void record(host::Event event);
  void holdOthersBack();
  void releaseOthers();
  void runAt(Position position, const std::function<void()>& work);
  void perform(const Step& step);
  void reportWarnings();
  [[nodiscard]] std::optional<std::string> serverURL(const platform::Value& configuration) const;
  [[nodiscard]] std::optional<std::string> configuredServer() const;

  const Options options_;
  std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, std::vector<platform::Value>> untaken_;  ///< by actor and kind
  const std::thread::id mainThread_ = std::this_thread::get_id();
  bool othersAreHeldBack_ = false;
  std::vector<host::Event> heldBack_;  // of other threads, which name actors and kinds by literals
  std::optional<std::string> secret_;
  std::vector<ReceivedRequest> requests_;
  std::size_t requestCount_ = 0;
  RunWarnings warnings_;
  std::vector<platform::Value::Entry> configuration_;
  std::vector<std::string> raised_;
  std::set<std::string> known_;
  bool hasFailed_ = false;
  std::optional<Position> failedAt_;
  bool isOver_ = false;
  TemporaryDirectory storage_;
  std::unique_ptr<host::Phone> phone_;
  std::unique_ptr<Backend> backend_;
};

}  // namespace pellion
