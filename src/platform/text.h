#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/exception.h"
#include "platform/objc.h"
#include "platform/value.h"

namespace platform {

/// One argument of format(). It refers to what it was made from, which must outlive the call. A null pointer or an
/// empty optional is nil and prints as (null).
class FormatArgument {
 public:
  FormatArgument(std::nullptr_t) {}
  FormatArgument(std::string_view text) : kind_(Kind::text), text_(text) {}
  FormatArgument(const char* text) : FormatArgument(std::string_view(text)) {}
  FormatArgument(const std::string& text) : FormatArgument(std::string_view(text)) {}
  FormatArgument(const std::optional<std::string>& text) {
    if (text) *this = FormatArgument(*text);
  }
  FormatArgument(const std::optional<std::string_view>& text) {
    if (text) *this = FormatArgument(*text);
  }
  FormatArgument(const Value& value) : kind_(Kind::value), pointer_(&value) {}
  FormatArgument(const Value* value) : kind_(value == nullptr ? Kind::nil : Kind::value), pointer_(value) {}
  FormatArgument(const std::optional<Value>& value) : FormatArgument(orNull(value)) {}
  FormatArgument(const Error& error) : kind_(Kind::error), pointer_(&error) {}
  FormatArgument(const Exception& exception) : FormatArgument(exception.reason()) {}
  FormatArgument(id object) : kind_(object == nullptr ? Kind::nil : Kind::object), pointer_(object) {}
  FormatArgument(std::integral auto number) : kind_(Kind::integer), integer_(static_cast<std::int64_t>(number)) {}

 private:
  friend class Formatter;  // src/value
  enum class Kind : std::uint8_t { nil, text, value, error, object, integer };

  Kind kind_ = Kind::nil;
  union {
    const void* pointer_ = nullptr;
    std::int64_t integer_;
    std::string_view text_;
  };
};

/// The platform's formatter for the conversions in use here: "%@" (any argument's text), "%i" "%d" "%ld" (signed),
/// "%u" "%lu" (unsigned), "%02x", "%p" and "%%". Values are inserted as they are; nothing is escaped.
std::string format(std::string_view format, std::initializer_list<FormatArgument> arguments);

/// Full Unicode lower-casing in the root locale (final sigma included).
std::string lowercaseString(std::string_view text);

/// Reads bytes as text in encoding 1 (ASCII). Returns nothing when any byte is above 127.
std::optional<std::string_view> stringFromASCIIData(ByteView data);

}  // namespace platform
