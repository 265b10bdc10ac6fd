#pragma once

#include <string_view>

#include "platform/value.h"

namespace test {

inline platform::ByteView bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace test
