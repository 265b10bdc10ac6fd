#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/fleet/histogram.h"
#include "platform/url_session.h"
#include "services/url_loading/request_outcome.h"

namespace pellion {

/// How a request ended, and with it all that it carried.
enum class Ending : std::uint8_t {
  accepted,  ///< 200 with a JSON body
  refused,   ///< any other answer
  failed,    ///< no answer
  lost,      ///< with its process, which ended before the answer
};
inline constexpr std::array<std::string_view, 4> endingNames{"accepted", "refused", "failed", "lost"};
Ending endingOf(const services::RequestOutcome& outcome);

/// Numbers by Ending.
struct EndingCounts {
  std::array<std::uint64_t, endingNames.size()> byEnding{};
  std::uint64_t& operator[](Ending ending) { return byEnding[static_cast<std::size_t>(ending)]; }
  std::uint64_t operator[](Ending ending) const { return byEnding[static_cast<std::size_t>(ending)]; }
  [[nodiscard]] std::uint64_t total() const;
  void add(const EndingCounts& other);
};

struct EndpointFigures {
  EndingCounts requests = {};
  std::map<int, std::uint64_t> refused;          ///< by status; 200 for an answer that is not JSON
  std::map<std::int64_t, std::uint64_t> failed;  ///< by the platform's error code
  Histogram connecting;                          ///< of requests that were answered
  Histogram answering;
  Histogram both;
  std::uint64_t receivedBytes = 0;

  void record(const services::RequestOutcome& outcome);
};

/// What phones carried to the backend, of which kind and how it ended.
struct FleetFigures {
  std::map<std::string, EndpointFigures> endpoints;  ///< by method and path
  std::map<std::string, EndingCounts> carried;       ///< "token", and entries by the name of their status
  std::map<std::string, std::uint64_t> raised;       ///< exceptions that ended an application
  std::uint64_t launches = 0;
  std::uint64_t steps = 0;

  void add(const FleetFigures& other);
  [[nodiscard]] EndpointFigures total() const;
};

/// What one request carries: its token, or its entries as compact JSON, each with its kind.
struct Cargo {
  std::string kind;  ///< "token", or the name of an entry's status
  std::string text;
};
/// `token` is the header field "notificationid" of the request, or null.
std::vector<Cargo> cargoOf(const std::string* token, std::string_view body);

/// "/users/7?x=1" of "http://host/users/7?x=1" is "POST /users/7".
std::string endpointOf(const platform::URLRequest& request);
/// What follows the question mark of the URL.
std::string_view queryOf(const platform::URLRequest& request);

}  // namespace pellion
