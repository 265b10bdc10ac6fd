#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/event.h"
#include "host/phone.h"
#include "pellion/backend.h"
#include "pellion/scenario.h"

namespace pellion {

/// A new directory that goes with its owner.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// One run of a scenario: a fresh phone, a backend of its own or somebody else's server, and what has happened so far.
class ScenarioRun {
 public:
  struct Options {
    std::optional<std::string> server = {};  ///< instead of a backend of our own
    host::Clock::Kind clock = host::Clock::Kind::virtualTime;
    host::EventSink sink = {};  ///< called by one thread at a time
  };

  /// The scenario and the network outlive this. For a run against a server the scenario must have passed
  /// refuseBackendSteps.
  ScenarioRun(const Scenario& scenario, host::Network& network, Options options);
  ScenarioRun(const ScenarioRun&) = delete;
  ScenarioRun& operator=(const ScenarioRun&) = delete;
  ~ScenarioRun();

  /// Runs the steps up to the first failure; whether there was none. Throws InputError for a configuration that turns
  /// out to be unusable.
  bool run();

  // What the steps work with.
  [[nodiscard]] host::Phone& phone() { return phone_; }
  [[nodiscard]] Backend& backend() { return *backend_; }
  /// "file:line:column"
  [[nodiscard]] std::string place(const JSONNode& node) const;
  void tell(std::string_view actor, std::string_view what, platform::Value details);
  /// Ends the run after this step, as failed.
  void fail() { hasFailed_ = true; }
  /// Entries replace those of the same name; null takes one away.
  void configure(std::span<const platform::Value::Entry> overrides);
  /// Runs `work` inside the process and turns the main queue. An exception that nothing catches ends the application,
  /// as on the platform, and fails the run.
  void inProcess(const std::function<void()>& work);
  /// The log lines since the last call.
  std::vector<std::string> takeLogLines();

 private:
  void receive(host::Event event);
  void runAt(Position position, const std::function<void()>& work);
  [[nodiscard]] std::optional<std::string> serverURL(const platform::Value& configuration) const;

  const Scenario& scenario_;
  const Options options_;
  std::mutex mutex_;
  std::vector<std::string> logLines_;
  std::vector<platform::Value::Entry> configuration_;
  bool hasFailed_ = false;
  bool isOver_ = false;
  TemporaryDirectory storage_;
  host::Phone phone_;
  std::unique_ptr<Backend> backend_;
};

}  // namespace pellion
