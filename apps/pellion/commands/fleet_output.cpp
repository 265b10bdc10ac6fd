#include "pellion/commands/fleet_output.h"

#include <ostream>

#include "pellion/text/json_writer.h"
#include "pellion/text/text_width.h"

namespace pellion {

void Stop::request() {
  {
    const std::lock_guard lock(mutex_);
    isRequested_ = true;
  }
  changed_.notify_all();
}

bool Stop::waitFor(std::chrono::nanoseconds duration) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, duration, [this] { return isRequested_; });
}

FleetProgress::~FleetProgress() {
  if (surroundings_.showsProgress) surroundings_.err << "\r\x1b[K" << std::flush;
}

std::chrono::nanoseconds FleetProgress::pause() const {
  return std::chrono::seconds(surroundings_.showsProgress ? 1 : 10);
}

void FleetProgress::show(std::size_t phones, const FleetFigures& lately, FleetFigures& all,
                         std::chrono::nanoseconds now, std::optional<std::chrono::nanoseconds> left) {
  all.add(lately);
  const std::string line = progressLine(phones, lately, all, now - shownAt_, left);
  shownAt_ = now;
  if (surroundings_.showsProgress) {
    surroundings_.err << "\r\x1b[K" << beginning(line, surroundings_.columns - 1) << std::flush;
  } else {
    surroundings_.err << line << '\n' << std::flush;
  }
}

void FleetProgress::say(const std::string& text) {
  surroundings_.err << (surroundings_.showsProgress ? "\r\x1b[K" : "") << printable(text) << '\n' << std::flush;
}

FleetFiles::FleetFiles(const std::optional<std::string>& csv, const std::optional<std::string>& json) {
  if (csv) csv_.emplace(*csv, "--csv", OutputFile::toBeHandedOn);
  if (json) json_.emplace(*json, "--json", OutputFile::toBeHandedOn);
}

void FleetFiles::write(const FleetReport& report) {
  if (csv_) {
    writeFleetCSV(csv_->stream(), report);
    csv_->close("figures");
  }
  if (json_) {
    json_->stream() << prettyJSON(fleetJSON(report)) << '\n';
    json_->close("figures");
  }
}

}  // namespace pellion
