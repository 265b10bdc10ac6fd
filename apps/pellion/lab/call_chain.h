#pragma once

#include "pellion/run/scenario_run.h"
#include "platform/value.h"
#include "services/url_loading/network.h"

namespace pellion {

/// Whether a step of this kind may change who is called for a callback.
bool changesCallChain(const StepKind& kind);

/// The document "chain" of docs/lab.schema.json for the run's present process: the classes of both delegates with the
/// code that stands in them, as the runtime has them, and who is called in which order. The latter is tried on another
/// phone that repeats the steps of `scenario` which matter for it, so that nothing happens on this one.
platform::Value callChain(const Scenario& scenario, ScenarioRun& run, services::Network& network);

}  // namespace pellion
