#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pellion/fleet/fleet_figures.h"

namespace pellion {

// The messages between a worker and the master of Locust, a load engine: MessagePack of [type, data, id of the worker].

/// Phones by the name of their class, which is the name of their kind as a class of Python.
using LocustCounts = std::vector<std::pair<std::string, std::size_t>>;

/// "open application" is "OpenApplication": only letters and digits of ASCII stay, and a letter that begins a word
/// becomes a capital. Empty if nothing remains, or if a digit would come first.
std::string locustClassName(std::string_view kind);

/// So many phones of each class are to be alive.
struct LocustSpawn {
  double timestamp = 0;  ///< seconds; orders the messages of one master
  LocustCounts counts = {};
  std::optional<std::string> host = {};  ///< the server's URL
  std::chrono::nanoseconds stopTimeout{};
};

/// What a master says. Entries that a worker does not need are passed over.
struct LocustOrder {
  std::string type;
  std::optional<std::uint64_t> index = {};  ///< of "ack": the worker's number
  std::optional<LocustSpawn> spawn = {};    ///< of "spawn"
};
/// Nothing for bytes that are not such a message.
std::optional<LocustOrder> readLocustOrder(std::string_view bytes);

/// How busy a worker is.
struct LocustHealth {
  double cpu = 0;            ///< percent of all the machine's cores
  std::uint64_t memory = 0;  ///< bytes
};

std::string locustMessage(std::string_view type, std::string_view id);  ///< without data
std::string locustReady(std::string_view id);
std::string locustHeartbeat(std::string_view id, std::string_view state, const LocustHealth& health);
std::string locustSpawningComplete(std::string_view id, const LocustCounts& counts);
std::string locustException(std::string_view id, std::string_view text);

/// What has happened since a worker's last report, in Locust's way of counting. A request that was lost with its
/// process is not counted, because no user of Locust's saw its end; one that failed has no response time.
class LocustStatistics {
 public:
  /// `start` in seconds since 1970.
  explicit LocustStatistics(double start) : start_(start) {}

  /// Adds what has happened in the second before `now`, in seconds since 1970.
  void add(const FleetFigures& figures, double now);
  [[nodiscard]] std::uint64_t requests() const { return counted(figures_.total()); }
  [[nodiscard]] std::string message(std::string_view id, const LocustCounts& counts) const;

 private:
  struct Second {
    std::uint64_t requests = 0;
    std::uint64_t failures = 0;
  };
  struct Times {
    std::map<std::int64_t, Second> seconds;
    double last = 0;
    void add(const EndpointFigures& figures, double now);
  };
  static std::uint64_t counted(const EndpointFigures& figures);

  template <class Output>
  void packEntry(Output& packer, std::string_view name, std::string_view method, const EndpointFigures& figures,
                 const Times& times) const;
  template <class Output>
  void packErrors(Output& packer) const;

  double start_;
  FleetFigures figures_;
  std::map<std::string, Times> times_;  ///< by endpoint
  Times total_;
};

/// Milliseconds as Locust groups them: whole, and to two significant digits from 100 on; a half goes to the even side.
std::int64_t locustResponseTime(std::chrono::microseconds duration);

}  // namespace pellion
