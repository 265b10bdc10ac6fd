#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>

#include "pellion/fleet/fleet_audit.h"
#include "pellion/fleet/fleet_figures.h"

namespace pellion {

/// What there is to say about a fleet that has ended.
struct FleetReport {
  std::string name = {};
  std::string server = {};
  std::size_t phones = 0;  ///< the most at one time
  std::chrono::nanoseconds duration{};
  bool isCutShort = false;  ///< by a signal
  FleetFigures figures = {};
  std::optional<FleetAudit::Verdict> audit = {};
};

/// One line without its end: what the fleet is doing now. `lately` covers `span`; there may be no end to wait for.
std::string progressLine(std::size_t phones, const FleetFigures& lately, const FleetFigures& all,
                         std::chrono::nanoseconds span, std::optional<std::chrono::nanoseconds> left);

/// Why an answer with this status was not accepted.
std::string refusalText(int status);
/// What the platform says of a request that failed with this code, and the code.
std::string failureText(std::int64_t code);

/// For people: requests by endpoint, what was wrong with them, times, what they carried, the audit.
void writeFleetReport(std::ostream& out, const FleetReport& report);
/// A row for each endpoint and one for their total, times in milliseconds; RFC 4180.
void writeFleetCSV(std::ostream& out, const FleetReport& report);
/// The same, and the rest, as one JSON document; docs/fleet.md lists its entries.
platform::Value fleetJSON(const FleetReport& report);

}  // namespace pellion
