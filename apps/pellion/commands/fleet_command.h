#pragma once

#include "pellion/commands/fleet_arguments.h"
#include "pellion/run/surroundings.h"

namespace CLI {
class App;
}

namespace pellion {

void defineFleet(CLI::App& app, FleetArguments& arguments);

/// Returns the exit status: 1 if the audit finds a difference. Throws InputError.
int runFleet(const FleetArguments& arguments, const Surroundings& surroundings);

}  // namespace pellion
