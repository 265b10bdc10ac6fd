#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/document/scenario.h"
#include "pellion/text/json_reader.h"
#include "platform/value.h"

namespace pellion {

/// The scenario that a session of the lab makes: what it was opened with, the steps done so far, each with the
/// expectation that held after it, and the steps still to come.
class SessionDocument {
 public:
  static constexpr std::size_t mostSteps = 2000;
  static constexpr std::size_t mostBytes = 8U << 20;  ///< of steps and notifications; `pellion test` reads 16 MiB

  /// Reads a scenario document, whose list of steps may be empty. Throws InputError, also for one that names files.
  SessionDocument(std::string file, const std::string& text);

  /// The scenario without steps, checked with those that wait.
  [[nodiscard]] Scenario opened() const;
  /// The steps done so far and `step`. Throws InputError for a step that is none, names a file or cannot be next.
  [[nodiscard]] Scenario with(const JSONNode& step) const;
  /// The step is done. Null for no expectation.
  void add(JSONNode step, platform::Value expectation);
  /// Adds to what is expected after the last step.
  void expectMore(const platform::Value& expectation);
  /// The name of the notification with this payload, which becomes one of the scenario's. Throws InputError when the
  /// session is too large for it.
  std::string nameOf(const platform::Value& payload, std::string_view wantedName);
  [[nodiscard]] bool hasNotification(std::string_view name) const;
  /// Whether that notification names a category, which can ask the platform to report dismissals.
  [[nodiscard]] bool hasCategory(std::string_view name) const;

  [[nodiscard]] const std::deque<JSONNode>& waiting() const { return waiting_; }
  JSONNode takeWaiting();
  [[nodiscard]] std::size_t doneCount() const { return done_.size(); }
  [[nodiscard]] const JSONNode& done(std::size_t index) const { return done_[index].step; }

  /// The steps done so far with their expectations, as the text of a scenario, which begins with how to run it:
  /// `options` of `pellion test`.
  [[nodiscard]] std::string text(const std::string& options) const;

 private:
  struct Done {
    JSONNode step;
    platform::Value expectation;
  };
  [[nodiscard]] JSONNode documentWith(const std::vector<JSONNode>& steps) const;
  void refuseFiles(const JSONNode& document) const;
  void refuseMore(std::size_t bytes) const;

  const std::string file_;
  std::vector<JSONMember> head_;  ///< without notifications and steps
  std::vector<platform::Value::Entry> notifications_;
  std::vector<Done> done_;
  std::deque<JSONNode> waiting_;
  std::size_t bytes_ = 0;  ///< of the steps that are done and the notifications
};

}  // namespace pellion
