#include "platform/text.h"

#include <unicode/ucasemap.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "value/utf8.h"

namespace platform {

/// Processes one format and its arguments. A conversion that does not match its argument, and a surplus or missing
/// argument, are mistakes in the program and end it.
class Formatter {
 public:
  Formatter(std::string_view format, std::initializer_list<FormatArgument> arguments)
      : format_(format), next_(arguments.begin()), end_(arguments.end()) {}

  std::string run() && {
    std::string_view rest = format_;
    for (std::size_t at = rest.find('%'); at != std::string_view::npos; at = rest.find('%')) {
      out_ += rest.substr(0, at);
      rest.remove_prefix(at + 1);
      const auto conversion = std::ranges::find_if(
          conversions, [rest](const Conversion& candidate) { return rest.starts_with(candidate.text); });
      if (conversion == std::end(conversions)) fail("an unknown conversion");
      (this->*conversion->append)();
      rest.remove_prefix(conversion->text.size());
    }
    if (next_ != end_) fail("too many arguments");
    out_ += rest;
    return std::move(out_);
  }

 private:
  using Kind = FormatArgument::Kind;
  struct Conversion {
    std::string_view text;  // after the percent sign
    void (Formatter::*append)();
  };
  static const Conversion conversions[9];

  const FormatArgument& argument() {
    if (next_ == end_) fail("too few arguments");
    return *next_++;
  }
  std::int64_t integer() {
    const FormatArgument& number = argument();
    if (number.kind_ != Kind::integer) fail("an argument that is not an integer for an integer conversion");
    return number.integer_;
  }
  template <class Integer>
  void appendDigits(Integer number, int base = 10) {
    char digits[24];
    out_.append(digits, std::to_chars(std::begin(digits), std::end(digits), number, base).ptr);
  }

  // The widths are those of the platform: without "l" a conversion reads 32 bits.
  void appendInt() { appendDigits(static_cast<std::int32_t>(integer())); }
  void appendLong() { appendDigits(integer()); }
  void appendUnsignedInt() { appendDigits(static_cast<std::uint32_t>(integer())); }
  void appendUnsignedLong() { appendDigits(static_cast<std::uint64_t>(integer())); }
  void appendHexPair() {
    const auto number = static_cast<std::uint32_t>(integer());
    if (number < 0x10) out_ += '0';
    appendDigits(number, 16);
  }
  void appendPercent() { out_ += '%'; }
  void appendPointer() {
    const FormatArgument& pointer = argument();
    if (pointer.kind_ == Kind::text || pointer.kind_ == Kind::integer)
      fail("an argument that is not a pointer for a pointer conversion");
    out_ += "0x";
    appendDigits(reinterpret_cast<std::uintptr_t>(pointer.pointer_), 16);
  }
  void appendObject() {
    const FormatArgument& object = argument();
    switch (object.kind_) {
      case Kind::nil: out_ += "(null)"; break;
      case Kind::text: out_ += object.text_; break;
      case Kind::value: out_ += static_cast<const Value*>(object.pointer_)->description(); break;
      case Kind::error: out_ += static_cast<const Error*>(object.pointer_)->description(); break;
      case Kind::object: {
        out_ += Value::object(static_cast<id>(const_cast<void*>(object.pointer_))).description();
        break;
      }
      case Kind::integer: appendDigits(object.integer_); break;
    }
  }

  [[noreturn]] void fail(const char* mistake) const {
    std::fprintf(stderr, "the format \"%.*s\" has %s\n", static_cast<int>(format_.size()), format_.data(), mistake);
    std::abort();
  }

  std::string_view format_;
  const FormatArgument* next_;
  const FormatArgument* end_;
  std::string out_;
};

const Formatter::Conversion Formatter::conversions[9] = {
    {"@", &Formatter::appendObject},    {"i", &Formatter::appendInt},         {"d", &Formatter::appendInt},
    {"ld", &Formatter::appendLong},     {"u", &Formatter::appendUnsignedInt}, {"lu", &Formatter::appendUnsignedLong},
    {"02x", &Formatter::appendHexPair}, {"p", &Formatter::appendPointer},     {"%", &Formatter::appendPercent},
};

std::string format(std::string_view format, std::initializer_list<FormatArgument> arguments) {
  return Formatter(format, arguments).run();
}

std::string lowercaseString(std::string_view text) {
  const bool isASCII = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  std::string result(text.size(), '\0');
  if (isASCII) {
    std::ranges::transform(text, result.begin(), value::lowerASCII);
    return result;
  }
  UErrorCode status = U_ZERO_ERROR;
  static const UCaseMap* const rootLocale = ucasemap_open("", 0, &status);
  const auto lower = [&] {
    status = U_ZERO_ERROR;
    return ucasemap_utf8ToLower(rootLocale, result.data(), static_cast<std::int32_t>(result.size()), text.data(),
                                static_cast<std::int32_t>(text.size()), &status);
  };
  // ICU counts in 32 bits, and a case mapping grows a text to at most three times its size.
  if (text.size() > std::numeric_limits<std::int32_t>::max() / 3) throw std::length_error("lowercaseString");
  std::int32_t length = lower();
  if (static_cast<std::size_t>(length) > result.size()) {
    result.resize(static_cast<std::size_t>(length));
    length = lower();
  }
  result.resize(static_cast<std::size_t>(length));
  return result;
}

std::optional<std::string_view> stringFromASCIIData(ByteView data) {
  if (std::ranges::any_of(data, [](std::uint8_t byte) { return byte >= 0x80; })) return std::nullopt;
  return std::string_view(reinterpret_cast<const char*>(data.data()), data.size());
}

}  // namespace platform
