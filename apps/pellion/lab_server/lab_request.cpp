#include "pellion/lab_server/lab_request.h"

#include <algorithm>

#include "pellion/text/json_writer.h"
#include "pellion/text/redaction.h"
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

}  // namespace pellion
