#include "platform/uuid.h"

#include <sys/random.h>

#include <array>
#include <cstdint>
#include <cstdlib>

namespace platform {

std::string makeUUIDString() {
  std::array<std::uint8_t, 16> bytes;
  if (getentropy(bytes.data(), bytes.size()) != 0) std::abort();   // fails only where the kernel has no such call
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // variant of RFC 9562
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i != bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += "0123456789ABCDEF"[bytes[i] >> 4];
    text += "0123456789ABCDEF"[bytes[i] & 0xF];
  }
  return text;
}

}  // namespace platform
