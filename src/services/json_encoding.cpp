// Value to JSON text.

#include <simdjson.h>

#include <array>
#include <cmath>
#include <vector>

#include "platform/exception.h"
#include "platform/json_serialization.h"
#include "value/hexadecimal.h"
#include "value/number_text.h"
#include "value/printable_text.h"

namespace platform::JSONSerialization {
namespace {

using Kind = Value::Kind;

/// The character after the backslash in the escape of each byte: 'u' for \u00xx, 0 for bytes that need no escape.
constexpr auto escapes = [] {
  std::array<char, 256> table{};
  for (std::size_t control = 0; control != 0x20; ++control) table[control] = 'u';
  table['\b'] = 'b';
  table['\f'] = 'f';
  table['\n'] = 'n';
  table['\r'] = 'r';
  table['\t'] = 't';
  table['"'] = '"';
  table['\\'] = '\\';
  table['/'] = '/';
  return table;
}();

[[noreturn]] void raise(std::string reason) { throw Exception(invalidArgumentException, std::move(reason)); }

/// Writes a tree with a stack of its own, so that depth does not use the thread's stack.
class Encoder {
 public:
  explicit Encoder(const Value& root) { append(root); }

  std::string text() && {
    while (!open_.empty()) {
      auto& [container, next] = open_.back();
      const bool isList = container->kind() == Kind::list;
      if (next == (isList ? container->elements().size() : container->entries().size())) {
        out_ += isList ? ']' : '}';
        open_.pop_back();
        continue;
      }
      if (next != 0) out_ += ',';
      const std::size_t at = next++;
      if (isList) {
        append(container->elements()[at]);
      } else {
        appendEntry(container->entries()[at]);
      }
    }
    return std::move(out_);
  }

 private:
  struct Level {
    const Value* container;
    std::size_t next;
  };

  void append(const Value& value) {
    switch (value.kind()) {
      case Kind::null: out_ += "null"; break;
      case Kind::boolean: out_ += value.ifBoolean() == true ? "true" : "false"; break;
      case Kind::integer: value::appendNumber(out_, value); break;
      case Kind::floating:
        if (std::isnan(value.floating())) raise("Invalid number value (NaN) in JSON write");
        if (std::isinf(value.floating())) raise("Invalid number value (infinite) in JSON write");
        value::appendNumber(out_, value);
        break;
      case Kind::string: appendText(value.text()); break;
      case Kind::list:
      case Kind::dictionary:
        out_ += value.kind() == Kind::list ? '[' : '{';
        open_.push_back({&value, 0});
        break;
      default: raise(std::string("Invalid type in JSON write (") + value.className() + ")");
    }
  }
  void appendEntry(const Value::Entry& entry) {
    if (!entry.key.ifString()) raise("Invalid (non-string) key in JSON dictionary");
    appendText(entry.key.text());
    out_ += ':';
    append(entry.value);
  }
  void appendText(std::string_view text) {
    out_ += '"';
    std::size_t written = 0;
    for (std::size_t at = 0; at != text.size(); ++at) {
      const auto byte = static_cast<std::uint8_t>(text[at]);
      const char escape = escapes[byte];
      if (escape == 0) continue;
      out_.append(text, written, at - written);
      written = at + 1;
      out_ += '\\';
      out_ += escape;
      if (escape == 'u') out_ += "00" + value::hexText({&byte, 1});
    }
    out_.append(text, written);
    out_ += '"';
  }

  std::string out_;
  std::vector<Level> open_;
};

}  // namespace

Value dataWithJSONObject(const Value& object) {
  if (object.ifList() == nullptr && object.ifDictionary() == nullptr) raise("Invalid top-level type in JSON write");
  const std::string text = Encoder(object).text();
  // A text that an application made from broken UTF-8 must not lead to broken JSON.
  return Value::bytes(simdjson::validate_utf8(text) ? text : value::wellFormed(text));
}

}  // namespace platform::JSONSerialization
