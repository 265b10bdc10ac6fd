#include "pellion/fleet/machine_limits.h"

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "pellion/text/input_error.h"

namespace pellion {
namespace {

template <class Number>
Number setting(const char* name, Number otherwise) {
  Number value = otherwise;
  std::ifstream(std::string("/proc/sys/net/ipv4/") + name) >> value;
  return value;
}

void checkDescriptors(std::size_t needed) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= needed) return;
  if (limit.rlim_max >= needed) {
    limit.rlim_cur = needed;
    if (setrlimit(RLIMIT_NOFILE, &limit) == 0) return;
  }
  throw InputError("the fleet needs " + std::to_string(needed) + " descriptors, and this program may open " +
                   std::to_string(limit.rlim_max) + "; run: ulimit -n " + std::to_string(needed) +
                   ", or give fewer --threads");
}

std::size_t sourcesNeeded(double requestsPerSecond, bool serverIsLoopback) {
  constexpr int always = 1;
  constexpr int onLoopback = 2;
  const int reuse = setting("tcp_tw_reuse", onLoopback);
  if (reuse == always || (reuse == onLoopback && serverIsLoopback)) return 1;  // a port is free again after a second
  std::ifstream range("/proc/sys/net/ipv4/ip_local_port_range");
  double first = 32768;
  double last = 60999;
  range >> first >> last;
  constexpr double heldFor = 60;  // seconds that a closed connection keeps its port
  const double needed = std::ceil(requestsPerSecond * heldFor / (last - first));
  if (needed <= 1) return 1;
  constexpr double mostSources = 250;
  if (serverIsLoopback && needed <= mostSources) return static_cast<std::size_t>(needed);
  const auto rate = std::to_string(static_cast<long>(std::ceil(requestsPerSecond)));
  throw InputError("the plan reaches " + rate + " requests a second, each over a connection of its own, and this " +
                   "machine has " + std::to_string(static_cast<long>(last - first)) +
                   " ports for those of a minute; run: " +
                   "sysctl net.ipv4.tcp_tw_reuse=1, or spread the fleet over several machines with --master");
}

}  // namespace

std::size_t checkMachine(std::size_t threads, double requestsPerSecond, bool hasBackend, bool serverIsLoopback) {
  constexpr std::size_t transfersPerThread = 256;  // of a network; more wait their turn
  constexpr std::size_t others = 64;
  const std::size_t connections = threads * transfersPerThread;
  checkDescriptors(connections * (hasBackend ? 2 : 1) + others);
  return sourcesNeeded(requestsPerSecond, serverIsLoopback);
}

}  // namespace pellion
