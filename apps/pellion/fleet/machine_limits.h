#pragma once

#include <cstddef>
#include <string>

#include "pellion/fleet/fleet_plan.h"

namespace pellion {

/// Raises the limits that the program may raise, and throws InputError, with a remedy, for those that would stop the
/// fleet in the middle: descriptors for the connections in flight, and ports for the connections of a minute, which a
/// closed connection still holds. Returns from how many addresses of loopback the phones must send so that the ports
/// last; 1: from the usual one.
std::size_t checkMachine(std::size_t threads, double requestsPerSecond, bool hasBackend, bool serverIsLoopback);

}  // namespace pellion
