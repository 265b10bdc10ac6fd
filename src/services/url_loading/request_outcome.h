#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace services {

/// How a resumed task ended. With neither a status nor an error, it was cancelled before it had one.
struct RequestOutcome {
  std::optional<int> status;               ///< of the last response
  std::optional<std::int64_t> errorCode;   ///< of NSURLErrorDomain; the handler gets this error
  bool isCancelled = false;                ///< its process ended first, or had ended: no handler runs
  std::chrono::microseconds connecting{};  ///< look-up of the name, connection and TLS, all redirects added up
  std::chrono::microseconds answering{};   ///< from the start of the request to the end of its response, added up
  std::chrono::microseconds total{};       ///< from resume() to the end, waiting for other requests included
  std::size_t receivedBytes = 0;           ///< of the last response's body, as they were on the wire
  bool isJSON = false;                     ///< the status is 200, and the body is JSON that the module accepts
};

}  // namespace services
