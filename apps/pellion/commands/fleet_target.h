#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "pellion/fleet/fleet_plan.h"

namespace pellion {

/// Whether this is an address of the machine itself.
bool isLoopbackHost(std::string_view host);
/// Whether the server at this URL is on loopback; the built-in one is.
bool isLoopbackServer(const std::optional<std::string>& server);

/// Throws InputError unless a fleet may send to this server and can reach it. A fleet is a load: it goes to the
/// machine's own servers, or to one whose name the user gives twice, as `confirmedHost`.
void checkTarget(const FleetPlan& plan, const std::string& server, const std::optional<std::string>& confirmedHost);

/// Throws InputError if the plan has faults, which only the built-in backend can have.
void refuseFaults(const FleetPlan& plan, const std::string& remedy);

}  // namespace pellion
