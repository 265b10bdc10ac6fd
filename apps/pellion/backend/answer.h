#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/backend/received_request.h"

namespace pellion {

/// What the backend sends for a request, and how it misbehaves while it sends it.
struct Answer {
  enum class Part { nothing, halfTheHeaders, headers, halfTheBody, everything };
  enum class End { closes, resets, waits };
  enum class Endless { nothing, headers, body };

  int status = 200;
  std::string body = R"({"status":"ok"})";
  std::vector<NameAndValue> headers = {};
  std::optional<std::string> raw = {};  ///< every byte of the answer; replaces the three fields above
  std::chrono::milliseconds delay{};    ///< real time; a phone's virtual clock stands still meanwhile
  Part sends = Part::everything;
  End then = End::closes;              ///< what happens to the connection; `waits`: until the other side closes it
  Endless endless = Endless::nothing;  ///< sent repeatedly until the other side closes the connection
  std::chrono::nanoseconds pace{};     ///< between two bytes, in the time of the phone that sends the request

  static constexpr std::chrono::milliseconds longestDelay{60'000};
};

// The words for the enumerators, in their order.
inline constexpr std::array<std::string_view, 5> partWords{"nothing", "half the headers", "headers", "half the body",
                                                           "everything"};
inline constexpr std::array<std::string_view, 3> endWords{"closes", "resets", "waits"};
inline constexpr std::array<std::string_view, 3> endlessWords{"nothing", "headers", "body"};

/// For a timeline or a trace. Omits default values, except status, delay, headers and body.
platform::Value details(const Answer& answer, std::size_t requestNumber);

/// The bytes of an answer on the wire.
struct WireAnswer {
  std::string once;
  std::string endlessly;  ///< sent repeatedly after the rest, unless it is empty
};
WireAnswer onWire(const Answer& answer, std::string_view method);

}  // namespace pellion
