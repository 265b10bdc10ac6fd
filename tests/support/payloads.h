#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/json_serialization.h"
#include "tests/support/bytes.h"

namespace test {

inline platform::Value json(std::string_view text) {
  platform::Error error;
  const auto value = platform::JSONSerialization::JSONObjectWithData(bytesOf(text), &error);
  if (!value) throw std::runtime_error(error.description() + " in " + std::string(text));
  return *value;
}

/// A payload that carries `addInfo` as text.
inline platform::Value payload(std::string_view addInfo) {
  return platform::Value::dictionary({{"aps", json(R"({"alert":"Hello"})")}, {"addInfo", addInfo}});
}

}  // namespace test
