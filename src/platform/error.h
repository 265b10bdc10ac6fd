#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace platform {

inline constexpr std::string_view cocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view urlErrorDomain = "NSURLErrorDomain";

/// The platform's error object.
struct Error {
  std::string domain;
  std::int64_t code = 0;
  std::string localizedDescription;
  Value userInfo = Value::dictionary({});

  /// `Error Domain=… Code=… "…" UserInfo={…}`, the text that "%@" prints.
  [[nodiscard]] std::string description() const;
};

}  // namespace platform
