#include "pellion/fleet/locust_messages.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <msgpack.hpp>

#include "pellion/fleet/fleet_report.h"
#include "pellion/text/text_width.h"

namespace pellion {
namespace {

using Packer = msgpack::packer<msgpack::sbuffer>;

/// The version that a worker names which is not a program of Locust's own: its master takes it without a warning.
constexpr int foreignVersion = -1;

bool isLetter(char character) { return std::isalpha(static_cast<unsigned char>(character)) != 0 && character > 0; }
bool isDigit(char character) { return character >= '0' && character <= '9'; }

// Text of the plan and of servers may not be UTF-8, and no master reads such a message.
void packText(Packer& packer, std::string_view text) { packer.pack(wellFormed(text)); }
void packKey(Packer& packer, std::string_view key) { packer.pack(key); }

void packCounts(Packer& packer, const LocustCounts& counts) {
  std::uint64_t sum = 0;
  packKey(packer, "user_classes_count");
  packer.pack_map(static_cast<std::uint32_t>(counts.size()));
  for (const auto& [name, count] : counts) {
    packText(packer, name);
    packer.pack(count);
    sum += count;
  }
  packKey(packer, "user_count");
  packer.pack(sum);
}

template <class Pack>
std::string messageOf(std::string_view type, std::string_view id, const Pack& packData) {
  msgpack::sbuffer bytes;
  Packer packer(bytes);
  packer.pack_array(3);
  packText(packer, type);
  packData(packer);
  packText(packer, id);
  return {bytes.data(), bytes.size()};
}

double inMilliseconds(std::chrono::microseconds duration) { return static_cast<double>(duration.count()) / 1000; }

const msgpack::object* entryOf(const msgpack::object& map, std::string_view name) {
  if (map.type != msgpack::type::MAP) return nullptr;
  for (std::uint32_t i = 0; i < map.via.map.size; ++i) {
    const auto& [key, value] = map.via.map.ptr[i];
    if (key.type == msgpack::type::STR && key.as<std::string_view>() == name) return &value;
  }
  return nullptr;
}

/// Throws msgpack::type_error for an entry that is not of this type.
template <class Type>
std::optional<Type> optionalEntry(const msgpack::object& map, std::string_view name) {
  const msgpack::object* entry = entryOf(map, name);
  if (entry == nullptr || entry->is_nil()) return std::nullopt;
  return entry->as<Type>();
}

std::optional<LocustSpawn> readSpawn(const msgpack::object& data) {
  const msgpack::object* counts = entryOf(data, "user_classes_count");
  const auto timestamp = optionalEntry<double>(data, "timestamp");
  if (!timestamp || counts == nullptr || counts->type != msgpack::type::MAP) return std::nullopt;
  LocustSpawn spawn{.timestamp = *timestamp, .host = optionalEntry<std::string>(data, "host")};
  for (std::uint32_t i = 0; i < counts->via.map.size; ++i) {
    const auto& [name, count] = counts->via.map.ptr[i];
    spawn.counts.emplace_back(name.as<std::string>(), count.as<std::size_t>());
  }
  if (const auto seconds = optionalEntry<double>(data, "stop_timeout"); seconds && *seconds > 0) {
    constexpr double longest = 86'400;
    spawn.stopTimeout = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(std::min(*seconds, longest)));
  }
  return spawn;
}

}  // namespace

std::string locustClassName(std::string_view kind) {
  std::string name;
  bool beginsWord = true;
  for (const char each : kind) {
    if (isLetter(each)) {
      name += beginsWord ? static_cast<char>(std::toupper(static_cast<unsigned char>(each))) : each;
    } else if (isDigit(each)) {
      name += each;
    }
    beginsWord = !isLetter(each);
  }
  return name.empty() || isDigit(name.front()) ? std::string() : name;
}

std::optional<LocustOrder> readLocustOrder(std::string_view bytes) {
  try {
    const msgpack::object_handle handle = msgpack::unpack(bytes.data(), bytes.size());
    const msgpack::object& message = handle.get();
    if (message.type != msgpack::type::ARRAY || message.via.array.size < 2) return std::nullopt;
    const msgpack::object& data = message.via.array.ptr[1];
    LocustOrder order{.type = message.via.array.ptr[0].as<std::string>()};
    if (order.type == "ack") order.index = optionalEntry<std::uint64_t>(data, "index");
    if (order.type != "spawn") return order;
    order.spawn = readSpawn(data);
    return order.spawn ? std::optional(order) : std::nullopt;
  } catch (const msgpack::unpack_error&) {
    return std::nullopt;
  } catch (const std::bad_cast&) {  // msgpack::type_error
    return std::nullopt;
  }
}

std::string locustMessage(std::string_view type, std::string_view id) {
  return messageOf(type, id, [](Packer& packer) { packer.pack_nil(); });
}

std::string locustReady(std::string_view id) {
  return messageOf("client_ready", id, [](Packer& packer) { packer.pack(foreignVersion); });
}

std::string locustHeartbeat(std::string_view id, std::string_view state, const LocustHealth& health) {
  return messageOf("heartbeat", id, [&](Packer& packer) {
    packer.pack_map(3);
    packKey(packer, "state");
    packText(packer, state);
    packKey(packer, "current_cpu_usage");
    packer.pack(health.cpu);
    packKey(packer, "current_memory_usage");
    packer.pack(health.memory);
  });
}

std::string locustSpawningComplete(std::string_view id, const LocustCounts& counts) {
  return messageOf("spawning_complete", id, [&](Packer& packer) {
    packer.pack_map(2);
    packCounts(packer, counts);
  });
}

/// The master counts exceptions with the same traceback as one.
std::string locustException(std::string_view id, std::string_view text) {
  return messageOf("exception", id, [&](Packer& packer) {
    packer.pack_map(2);
    packKey(packer, "msg");
    packText(packer, text);
    packKey(packer, "traceback");
    packText(packer, text);
  });
}

std::int64_t locustResponseTime(std::chrono::microseconds duration) {
  const double time = inMilliseconds(duration);
  const double unit = time < 100 ? 1 : time < 1000 ? 10 : time < 10'000 ? 100 : 1000;
  return static_cast<std::int64_t>(std::nearbyint(time / unit) * unit);
}

std::uint64_t LocustStatistics::counted(const EndpointFigures& figures) {
  return figures.requests.total() - figures.requests[Ending::lost];
}

void LocustStatistics::Times::add(const EndpointFigures& figures, double now) {
  const std::uint64_t requests = counted(figures);
  if (requests == 0) return;
  Second& second = seconds[static_cast<std::int64_t>(now)];
  second.requests += requests;
  second.failures += requests - figures.requests[Ending::accepted];
  last = now;
}

void LocustStatistics::add(const FleetFigures& figures, double now) {
  figures_.add(figures);
  for (const auto& [name, endpoint] : figures.endpoints) {
    times_[name].add(endpoint, now);
    total_.add(endpoint, now);
  }
}

template <class Output>
void LocustStatistics::packEntry(Output& packer, std::string_view name, std::string_view method,
                                 const EndpointFigures& figures, const Times& times) const {
  const auto pack = [&packer](std::string_view key, const auto& value) {
    packKey(packer, key);
    packer.pack(value);
  };
  const std::uint64_t requests = counted(figures);
  std::map<std::int64_t, std::uint64_t> responses;
  figures.both.forEachClass([&responses](std::chrono::microseconds duration, std::uint64_t count) {
    responses[locustResponseTime(duration)] += count;
  });
  std::map<std::int64_t, std::uint64_t> perSecond;
  std::map<std::int64_t, std::uint64_t> failuresPerSecond;
  for (const auto& [second, counts] : times.seconds) {
    perSecond[second] = counts.requests;
    if (counts.failures > 0) failuresPerSecond[second] = counts.failures;
  }
  packer.pack_map(14);
  pack("name", wellFormed(name));
  pack("method", wellFormed(method));
  packKey(packer, "last_request_timestamp");
  requests > 0 ? packer.pack(times.last) : packer.pack_nil();
  pack("start_time", start_);
  pack("num_requests", requests);
  pack("num_none_requests", figures.requests[Ending::failed]);
  pack("num_failures", requests - figures.requests[Ending::accepted]);
  pack("total_response_time", inMilliseconds(figures.both.sum()));
  pack("max_response_time", inMilliseconds(figures.both.greatest()));
  packKey(packer, "min_response_time");
  figures.both.count() > 0 ? packer.pack(inMilliseconds(figures.both.least())) : packer.pack_nil();
  pack("total_content_length", static_cast<std::uint64_t>(figures.receivedBytes));
  pack("response_times", responses);
  pack("num_reqs_per_sec", perSecond);
  pack("num_fail_per_sec", failuresPerSecond);
}

/// An application that an exception ended is an error too, of no endpoint.
template <class Output>
void LocustStatistics::packErrors(Output& packer) const {
  struct Error {
    std::string method;
    std::string name;
    std::string text;
    std::uint64_t count;
  };
  std::vector<Error> errors;
  for (const auto& each : figures_.endpoints) {
    const std::string& endpoint = each.first;
    const EndpointFigures& figures = each.second;
    const std::size_t space = endpoint.find(' ');
    const auto note = [&](std::string text, std::uint64_t count) {
      errors.push_back({endpoint.substr(0, space), endpoint.substr(space + 1), std::move(text), count});
    };
    for (const auto& [status, count] : figures.refused) note(refusalText(status), count);
    for (const auto& [code, count] : figures.failed) note(failureText(code), count);
  }
  for (const auto& [text, count] : figures_.raised) errors.push_back({"", "application ended", text, count});
  packKey(packer, "errors");
  packer.pack_map(static_cast<std::uint32_t>(errors.size()));
  for (const Error& error : errors) {
    packText(packer, error.method + '.' + error.name + '.' + error.text);
    packer.pack_map(4);
    for (const auto& [key, text] :
         {std::pair("name", &error.name), {"method", &error.method}, {"error", &error.text}}) {
      packKey(packer, key);
      packText(packer, *text);
    }
    packKey(packer, "occurrences");
    packer.pack(error.count);
  }
}

std::string LocustStatistics::message(std::string_view id, const LocustCounts& counts) const {
  return messageOf("stats", id, [&](Packer& packer) {
    const auto hasRequests = [](const auto& endpoint) { return counted(endpoint.second) > 0; };
    packer.pack_map(5);
    packKey(packer, "stats");
    packer.pack_array(static_cast<std::uint32_t>(std::ranges::count_if(figures_.endpoints, hasRequests)));
    for (const auto& [endpoint, figures] : figures_.endpoints) {
      if (counted(figures) == 0) continue;
      const std::size_t space = endpoint.find(' ');
      packEntry(packer, std::string_view(endpoint).substr(space + 1), std::string_view(endpoint).substr(0, space),
                figures, times_.at(endpoint));
    }
    packKey(packer, "stats_total");
    packEntry(packer, "Aggregated", "", figures_.total(), total_);
    packErrors(packer);
    packCounts(packer, counts);
  });
}

}  // namespace pellion
