#pragma once

#include <cstdint>

#include "platform/value.h"

namespace pellion {

class ScenarioRun;

/// What is observed; each includes the one before.
enum class ObservedParts : std::uint8_t {
  raised,    ///< what is raised, which the next step must expect
  requests,  ///< also what reaches the backend, and the URLs
  answers,   ///< also fetch results, presentations and the stored badge
  calls,     ///< also who is called
};

/// The argument of an "expect" step that holds at this point: what has happened since the last observation. What stays
/// the same from run to run alone, so without the address of an object or the time of an entry.
platform::Value observedExpectation(ScenarioRun& run, ObservedParts parts);

}  // namespace pellion
