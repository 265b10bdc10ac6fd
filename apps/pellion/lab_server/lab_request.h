#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pellion/lab/lab_phone.h"
#include "platform/value.h"

namespace pellion {

/// A request of the page, as HTTP carries it.
struct LabRequest {
  static constexpr std::size_t largestBody = 2U << 20;

  std::string method;
  std::string path;                                          ///< decoded, without the query
  std::vector<std::pair<std::string, std::string>> headers;  ///< names in lower case
  std::optional<std::string> cookie;                         ///< the value of the lab's own cookie
  std::optional<std::string> token;                          ///< "token" in the query
  std::optional<std::string> after;                          ///< the same for "after"
  std::string body;                                          ///< empty if it is too large
  bool isTooLarge = false;

  /// The field's value; nothing if the request has no such field, or more than one. `name` is in lower case.
  [[nodiscard]] std::optional<std::string_view> header(std::string_view name) const;
  [[nodiscard]] bool isForAPI() const { return path.starts_with("/api/"); }
};

struct LabReply {
  unsigned status = 200;
  std::string type = {};  ///< Content-Type; empty without a body
  std::string body = {};
  std::vector<std::pair<std::string, std::string>> headers = {};  ///< further fields
  /// A phone whose messages are the body, without an end; null for an ordinary reply.
  std::shared_ptr<LabPhone> stream = {};
  std::uint64_t after = 0;  ///< the id of the last message that the page has
  std::string nonce = {};   ///< of the styles in a page
};

LabReply jsonReply(unsigned status, const platform::Value& document);
/// What is wrong and the remedy, as JSON.
LabReply failureReply(unsigned status, std::string_view error);

}  // namespace pellion
