#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "pellion/lab/lab_state.h"
#include "pellion/lab/session_document.h"
#include "pellion/run/scenario_run.h"
#include "services/url_loading/network.h"

namespace pellion {

/// What a page does with one phone: each action is steps of a scenario, which is the session's document. Belongs to the
/// thread that makes it, except where a function says otherwise.
class LabSession {
 public:
  /// Receives messages for the page: kind and a line of JSON. Called by any thread, one at a time.
  using Emit = std::function<void(std::string kind, std::string data)>;

  /// Throws InputError for a configuration that turns out to be unusable. The network outlives the session.
  LabSession(SessionDocument document, services::Network& network, std::optional<std::string> server, Emit emit);
  LabSession(const LabSession&) = delete;
  LabSession& operator=(const LabSession&) = delete;
  ~LabSession();

  /// Throws InputError for a document that is no action.
  static void check(const platform::Value& action);
  /// Performs a checked action. Throws InputError for what cannot be done; what was done before stays.
  void perform(const platform::Value& action);
  /// Any thread: cuts short what the phone waits for, and lets the present action end early.
  void interrupt();
  /// The session so far as a scenario; nothing before the first step.
  [[nodiscard]] std::optional<std::string> kept() const;

 private:
  struct ActionKind;
  static const ActionKind actionKinds[];

  void open(const platform::Value& action);
  void close(const platform::Value& action);
  void kill(const platform::Value& action);
  void relaunch(const platform::Value& action);
  void playNext(const platform::Value& action);
  void playRest(const platform::Value& action);
  void deliverPush(const platform::Value& action);
  void recordByExtension(const platform::Value& action);
  void respondAs(const platform::Value& action);
  void wait(const platform::Value& action);
  void playGiven(const platform::Value& action);

  void play(const platform::Value& step);
  void play(const JSONNode& step, bool isOwn);
  [[nodiscard]] bool isRaiseExpected() const;
  [[nodiscard]] platform::Value observed(const Step& step);
  /// Of the latest notification, whose payload the module reads for that.
  void findButtons();
  [[nodiscard]] std::vector<std::string> buttonsOf(const platform::Value& payload);
  void receive(const host::Event& event);
  void emitState(bool isBusy);
  void emitProgress();
  void emitChain();
  [[nodiscard]] bool isRunning();
  [[nodiscard]] platform::Value stepsDocument() const;

  SessionDocument document_;
  services::Network& network_;
  const std::optional<std::string> server_;
  const Emit emit_;
  Scenario scenario_;
  const Redaction waitingSecrets_;  ///< of the steps that were opened
  LabState state_;
  std::atomic<bool> isInterrupted_ = false;
  std::atomic<bool> hasFailed_ = false;  ///< an expectation, since play() has last asked
  std::set<std::size_t> failed_;         ///< indices of steps
  bool hasPassed_ = false;               ///< the scenario that was opened, at its end
  bool hasOwnSteps_ = false;
  bool hasNewChain_ = false;
  bool hasUnobserved_ = false;  ///< events of steps that were opened
  std::chrono::steady_clock::time_point lastState_;
  std::unique_ptr<ScenarioRun> run_;
};

}  // namespace pellion
