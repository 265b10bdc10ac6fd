#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

namespace services {

enum class DecodingFailure { broken, tooLong };

/// Returns a body without its Content-Encoding (a list: gzip, deflate). A coding that is not supported leaves the body
/// unchanged for the caller to judge, as on the platform. Never returns more than `limit` bytes.
std::variant<std::string, DecodingFailure> decodeContent(std::string body, std::string_view contentEncoding,
                                                         std::size_t limit);

}  // namespace services
