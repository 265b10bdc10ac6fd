// The text that "%@" prints: the platform's old property list layout.

#include <algorithm>
#include <vector>

#include "platform/value.h"
#include "value/hexadecimal.h"
#include "value/number_text.h"
#include "value/utf8.h"

namespace platform {
namespace {

using Kind = Value::Kind;
using Entry = Value::Entry;

// Deeper lines start at the margin. JSON cannot have so many levels, and their indentation would fill the memory.
constexpr std::size_t deepestIndentation = 512;

bool isBare(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  });
}

void appendUnit(std::string& text, char32_t unit) {
  const std::uint8_t bytes[] = {static_cast<std::uint8_t>(unit >> 8), static_cast<std::uint8_t>(unit)};
  text += "\\U" + value::hexText(bytes);
}

/// Text inside a container: bare or quoted.
void appendQuoted(std::string& out, std::string_view text) {
  if (isBare(text)) {
    out += text;
    return;
  }
  out += '"';
  for (std::size_t next = 0; next != text.size();) {
    const char32_t character = value::nextCharacter(text, next);
    if (character >= 0x10000) {
      appendUnit(out, 0xD7C0 + (character >> 10));
      appendUnit(out, 0xDC00 + (character & 0x3FF));
    } else if (character >= 0x80) {
      appendUnit(out, character);
    } else if (character == '\n') {
      out += "\\n";
    } else {
      if (character == '"' || character == '\\') out += '\\';
      out += static_cast<char>(character);
    }
  }
  out += '"';
}

void appendBytes(std::string& text, ByteView bytes) {
  text += "{length = " + std::to_string(bytes.size()) + ", bytes = 0x";
  if (bytes.size() <= 24) {
    text += value::hexText(bytes) + '}';
    return;
  }
  const auto appendGroups = [&](ByteView part) {
    for (; !part.empty(); part = part.subspan(4)) text += value::hexText(part.first(4)) + ' ';
  };
  appendGroups(bytes.first(16));
  text += "... ";
  appendGroups(bytes.last(8));
  text += '}';
}

void appendLeaf(std::string& out, const Value& value) {
  switch (value.kind()) {
    case Kind::null: out += "<null>"; break;
    case Kind::string: out += value.text(); break;
    case Kind::bytes: appendBytes(out, value.bytes()); break;
    case Kind::object: out += objectDescription(value.ifObject()); break;
    default: value::appendNumber(out, value);
  }
}

void appendLeafInside(std::string& out, const Value& value) {
  switch (value.kind()) {
    case Kind::string: appendQuoted(out, value.text()); break;
    case Kind::bytes: appendBytes(out, value.bytes()); break;
    default:
      std::string text;
      appendLeaf(text, value);
      appendQuoted(out, text);
  }
}

bool isBefore(const Entry* left, const Entry* right) {
  if (left->key.kind() == Kind::string && right->key.kind() == Kind::string) {
    return left->key.text() < right->key.text();
  }
  return left->key.description() < right->key.description();
}

/// Prints a tree with a stack of its own, so that depth does not use the thread's stack.
class TreeDescription {
 public:
  explicit TreeDescription(const Value& root) { open(root); }

  std::string text() && {
    while (!open_.empty()) {
      Level& level = open_.back();
      if (level.next == level.size()) {
        close();
      } else if (level.container->kind() == Kind::list) {
        out_ += level.next == 0 ? "\n" : ",\n";
        appendElement(level.container->elements()[level.next++]);
      } else {
        out_ += level.next == 0 ? "\n" : ";\n";
        appendEntry(*level.ordered[level.next++]);
      }
    }
    return std::move(out_);
  }

 private:
  struct Level {
    const Value* container;
    std::vector<const Entry*> ordered;
    std::size_t next = 0;

    [[nodiscard]] std::size_t size() const { return container->elements().size() + ordered.size(); }
  };

  void indent() {
    if (open_.size() <= deepestIndentation) out_.append(4 * open_.size(), ' ');
  }
  void open(const Value& container) {
    Level level{&container, {}};
    for (const Entry& entry : container.entries()) level.ordered.push_back(&entry);
    std::ranges::sort(level.ordered, isBefore);
    out_ += container.kind() == Kind::list ? '(' : '{';
    open_.push_back(std::move(level));
  }
  void close() {
    const bool isList = open_.back().container->kind() == Kind::list;
    if (!isList && open_.back().next != 0) out_ += ';';
    open_.pop_back();
    out_ += '\n';
    indent();
    out_ += isList ? ')' : '}';
  }
  void appendElement(const Value& element) {
    indent();
    appendInside(element);
  }
  void appendEntry(const Entry& entry) {
    indent();
    appendLeafInside(out_, entry.key);
    out_ += " = ";
    appendInside(entry.value);
  }
  void appendInside(const Value& value) {
    if (value.ifList() != nullptr || value.ifDictionary() != nullptr) {
      indent();  // a container's own text starts with its indentation, wherever it is printed
      open(value);
    } else {
      appendLeafInside(out_, value);
    }
  }

  std::string out_;
  std::vector<Level> open_;
};

}  // namespace

std::string Value::description() const {
  if (ifList() != nullptr || ifDictionary() != nullptr) return TreeDescription(*this).text();
  std::string text;
  appendLeaf(text, *this);
  return text;
}

}  // namespace platform
