#include "pellion/lab/lab_request.h"

#include <openssl/rand.h>

#include <algorithm>
#include <stdexcept>

#include "pellion/text/json_writer.h"
#include "pellion/text/redaction.h"
#include "value/hexadecimal.h"
#include "value/printable_text.h"

namespace pellion {

using platform::Value;

std::optional<std::string_view> LabRequest::header(std::string_view name) const {
  const auto hasName = [&](const auto& field) { return field.first == name; };
  if (std::ranges::count_if(headers, hasName) != 1) return std::nullopt;
  return std::ranges::find_if(headers, hasName)->second;
}

LabReply jsonReply(unsigned status, const Value& document) {
  return {.status = status, .type = "application/json", .body = compactJSON(document)};
}

LabReply failureReply(unsigned status, std::string_view error) {
  return jsonReply(status, Value::dictionary({{"error", value::printable(withoutUserInfo(error))}}));
}

std::string randomHex(std::size_t bytes) {
  std::vector<std::uint8_t> random(bytes);
  if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1) {
    throw std::runtime_error("the system gives no random bytes, without which the lab cannot keep others out");
  }
  return value::hexText(random);
}

}  // namespace pellion
