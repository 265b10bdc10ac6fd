#include "pellion/commands/fleet_target.h"

#include "pellion/run/server_probe.h"
#include "pellion/text/input_error.h"
#include "services/url_components.h"

namespace pellion {
namespace {

std::string hostOf(const std::string& server) {
  const auto parts = services::parseURLComponents(server);
  return parts && parts->host ? *parts->host : std::string();
}

}  // namespace

bool isLoopbackHost(std::string_view host) {
  return host == "localhost" || host == "::1" || host == "[::1]" || host.starts_with("127.");
}

bool isLoopbackServer(const std::optional<std::string>& server) { return !server || isLoopbackHost(hostOf(*server)); }

void checkTarget(const FleetPlan& plan, const std::string& server, const std::optional<std::string>& confirmedHost) {
  for (const FleetKind& kind : plan.kinds) checkServerURL(server, kind.life);
  const std::string host = hostOf(server);
  if (!isLoopbackHost(host) && confirmedHost != host) {
    throw InputError("--server " + server + ": a fleet sends so much that it can stop a server; if " + host +
                     " is yours, give --yes-this-is-my-server " + host);
  }
  checkServer(server, {});
}

void refuseFaults(const FleetPlan& plan, const std::string& remedy) {
  if (plan.faults.empty()) return;
  throw InputError(plan.file + ": its \"faults\" are those of the built-in backend; " + remedy);
}

}  // namespace pellion
