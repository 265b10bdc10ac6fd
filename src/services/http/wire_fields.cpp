#include "services/http/wire_fields.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "value/ascii.h"

namespace services {
namespace {

// Fields that the platform adds to a request that does not have them.
std::array<std::pair<std::string_view, std::string_view>, 5> platformFields(std::string_view userAgent) {
  return {{
      {"Accept", "*/*"},
      {"Accept-Language", "en-US,en;q=0.9"},
      {"Accept-Encoding", "gzip, deflate"},
      {"User-Agent", userAgent},
      {"Connection", "keep-alive"},
  }};
}

// Fields that libcurl adds when a request does not have them, and that the platform does not add.
constexpr std::array<std::string_view, 2> libcurlFields{"Content-Type", "Expect"};

/// Makes any text fit for an error's text.
std::string inQuotes(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) result += c >= ' ' && c <= '~' ? c : '?';
  return result + '"';
}

/// libcurl takes "Name;" for a field without a value; "Name:" would remove the field.
std::string line(const WireField& field) {
  const auto& [name, value] = field;
  const bool isEmpty = value.find_first_not_of(" \t") == std::string_view::npos;
  std::string line;
  line.reserve(name.size() + 2 + value.size());
  return isEmpty ? line.append(name).append(";") : line.append(name).append(": ").append(value);
}

/// Returns nothing for a request that is sent without a length: no body, and a method that does not suggest one.
std::optional<std::string> contentLength(const platform::URLRequest& request) {
  if (request.httpBody) return std::to_string(request.httpBody->bytes().size());
  constexpr std::array<std::string_view, 3> methods{"POST", "PUT", "PATCH"};
  if (std::ranges::find(methods, request.httpMethod) == methods.end()) return std::nullopt;
  return "0";
}

}  // namespace

std::optional<std::string> wireFault(const platform::URLRequest& request) {
  if (!value::isToken(request.httpMethod))
    return "The HTTP method " + inQuotes(request.httpMethod) + " is not a token.";
  for (const auto& [name, value] : request.headers.fields()) {
    if (!value::isToken(name)) return "The name of the header field " + inQuotes(name) + " is not a token.";
    if (value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) {
      return "The value of the header field " + inQuotes(name) + " contains a line break or a zero byte.";
    }
    if (value::equalsInAnyCase(name, "transfer-encoding")) {
      return "The header field " + inQuotes(name) + " cannot be set: the length of the body is always sent.";
    }
  }
  return std::nullopt;
}

std::vector<WireField> wireFields(const platform::URLRequest& request, std::string_view userAgent) {
  const auto added = platformFields(userAgent);
  std::vector<WireField> fields;
  fields.reserve(request.headers.fields().size() + 1 + added.size());
  std::optional<std::string> length = contentLength(request);
  for (const auto& [name, value] : request.headers.fields()) {
    if (!value::equalsInAnyCase(name, "content-length")) {
      fields.emplace_back(name, value);
    } else if (length) {
      fields.emplace_back(name, *std::exchange(length, std::nullopt));
    }
  }
  if (length) fields.emplace_back("Content-Length", *length);
  for (const auto& [name, value] : added) {
    if (request.headers.find(name) == nullptr) fields.emplace_back(name, value);
  }
  return fields;
}

std::vector<std::string> libcurlLines(const std::vector<WireField>& fields) {
  std::vector<std::string> lines;
  lines.reserve(fields.size() + libcurlFields.size());
  std::ranges::transform(fields, std::back_inserter(lines), line);
  for (const std::string_view name : libcurlFields) {
    const auto isIt = [&](const WireField& field) { return value::equalsInAnyCase(field.first, name); };
    if (std::ranges::none_of(fields, isIt)) lines.push_back(std::string(name) + ':');
  }
  return lines;
}

}  // namespace services
