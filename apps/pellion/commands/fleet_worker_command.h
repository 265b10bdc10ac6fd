#pragma once

#include "pellion/commands/fleet_arguments.h"
#include "pellion/fleet/fleet_plan.h"
#include "pellion/run/surroundings.h"

namespace pellion {

/// Throws InputError for an option that the master decides instead.
void checkWorkerArguments(const FleetArguments& arguments);

/// Plays the plan as a worker of the master that the arguments name, until the master or a signal ends it. Returns the
/// exit status. Throws InputError.
int runFleetWorker(const FleetPlan& plan, const FleetArguments& arguments, std::size_t threads,
                   const Surroundings& surroundings);

}  // namespace pellion
