#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "pellion/lab/lab_session.h"
#include "pellion/lab/message_log.h"
#include "pellion/lab/session_document.h"
#include "platform/value.h"
#include "services/url_loading/network.h"

namespace pellion {

/// A phone of the lab, on a thread of its own: it runs one action after the other and writes what happens to its log.
/// All operations are safe from any thread.
class LabPhone {
 public:
  static constexpr std::size_t mostWaitingActions = 100;

  /// `scenario` is the text of a scenario document, `server` the URL that replaces the built-in backend. Throws
  /// InputError for what cannot be used. The network outlives the phone.
  LabPhone(services::Network& network, const std::string& scenario, std::optional<std::string> server);
  LabPhone(const LabPhone&) = delete;
  LabPhone& operator=(const LabPhone&) = delete;
  /// Interrupts it, and waits until the action that is running has ended.
  ~LabPhone();

  /// Runs the action, as docs/lab.schema.json describes it, after those before it. What then turns out to be wrong
  /// becomes a message "refused". Throws InputError for a document that is no action, and when too many wait.
  void perform(const platform::Value& action);
  /// Drops the actions that wait, and cuts short what the one that is running waits for. Nothing follows.
  void interrupt();
  /// The session so far as a scenario that passes; nothing before the first step.
  [[nodiscard]] std::optional<std::string> scenario() const;
  [[nodiscard]] MessageLog& messages() { return log_; }
  /// When the page last used the phone or read its messages.
  [[nodiscard]] std::chrono::steady_clock::time_point lastUse() const { return lastUse_; }
  void noteUse() { lastUse_ = std::chrono::steady_clock::now(); }

 private:
  void work(SessionDocument document, std::promise<void> started);
  std::optional<platform::Value> nextAction();

  services::Network& network_;
  const std::optional<std::string> server_;
  MessageLog log_;
  std::atomic<std::chrono::steady_clock::time_point> lastUse_ = std::chrono::steady_clock::now();
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<platform::Value> waiting_;
  LabSession* session_ = nullptr;  ///< of the thread, while it runs
  std::optional<std::string> kept_;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace pellion
