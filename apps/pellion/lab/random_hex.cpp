#include "pellion/lab/random_hex.h"

#include <openssl/rand.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "value/hexadecimal.h"

namespace pellion {

std::string randomHex(std::size_t bytes) {
  std::vector<std::uint8_t> random(bytes);
  if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1) {
    throw std::runtime_error("the system gives no random bytes, without which the lab cannot keep others out");
  }
  return value::hexText(random);
}

}  // namespace pellion
