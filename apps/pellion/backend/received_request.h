#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pellion/backend/jwt_reader.h"
#include "platform/value.h"

namespace pellion {

using NameAndValue = std::pair<std::string, std::string>;

/// A request as a server receives it.
struct ReceivedRequest {
  std::size_t number = 0;  ///< counted from 1
  std::string method;
  std::string target;                    ///< path and query as they were sent
  std::vector<NameAndValue> queryItems;  ///< in order, percent escapes decoded
  std::vector<NameAndValue> headers;     ///< in the order of the wire
  std::string body;
  std::optional<DecodedBody> decodedBody;  ///< for a body that is not empty

  [[nodiscard]] std::string_view path() const;
  [[nodiscard]] std::string_view query() const;  ///< as it was sent, without the question mark
  /// Compares names without case.
  [[nodiscard]] const std::string* findHeader(std::string_view name) const;
  [[nodiscard]] const std::string* findQueryItem(std::string_view name) const;

  /// Fills in the items of the query and the decoded body.
  void decode(const std::optional<std::string>& secret);

  /// For a timeline or a trace, with fieldDetails.
  [[nodiscard]] platform::Value details() const;
};

/// Names and values as lists of two, with credentials masked.
platform::Value fieldDetails(const std::vector<NameAndValue>& fields);

/// The items of a query. An invalid escape stays unchanged, and so does a plus sign (RFC 3986).
std::vector<NameAndValue> parseQuery(std::string_view query);

}  // namespace pellion
