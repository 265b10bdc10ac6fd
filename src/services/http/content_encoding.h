#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

namespace host {

enum class DecodingFailure { broken, tooLong };

/// A body without its Content-Encoding (a list: gzip, deflate). A coding that nobody here knows leaves the body as it
/// is, for the caller to judge, as the platform does. Never more than `limit` bytes.
std::variant<std::string, DecodingFailure> decodeContent(std::string body, std::string_view contentEncoding,
                                                         std::size_t limit);

}  // namespace host
