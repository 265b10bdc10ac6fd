#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "pellion/fleet/fleet_report.h"
#include "pellion/run/surroundings.h"
#include "pellion/text/output_file.h"

namespace pellion {

/// Waits for the time of the next step of a fleet, unless a signal ends it.
class Stop {
 public:
  void request();
  /// Whether it was requested, within this time or before.
  bool waitFor(std::chrono::nanoseconds duration);

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isRequested_ = false;
};

/// One line that is overwritten, or a line every ten seconds where there is no terminal.
class FleetProgress {
 public:
  explicit FleetProgress(const Surroundings& surroundings) : surroundings_(surroundings) {}
  ~FleetProgress();
  FleetProgress(const FleetProgress&) = delete;
  FleetProgress& operator=(const FleetProgress&) = delete;

  /// Whether the next line is due, `now` after the start.
  [[nodiscard]] bool isDue(std::chrono::nanoseconds now) const { return now >= shownAt_ + pause(); }
  /// Adds what has happened since the last line to `all`.
  void show(std::size_t phones, const FleetFigures& lately, FleetFigures& all, std::chrono::nanoseconds now,
            std::optional<std::chrono::nanoseconds> left);
  /// A line that stays.
  void say(const std::string& text);

 private:
  [[nodiscard]] std::chrono::nanoseconds pause() const;

  const Surroundings& surroundings_;
  std::chrono::nanoseconds shownAt_{};
};

/// The files that the figures go to at the end. They are opened first, so that a name that cannot be one is an error
/// before the start.
class FleetFiles {
 public:
  FleetFiles(const std::optional<std::string>& csv, const std::optional<std::string>& json);
  void write(const FleetReport& report);

 private:
  std::optional<OutputFile> csv_;
  std::optional<OutputFile> json_;
};

}  // namespace pellion
