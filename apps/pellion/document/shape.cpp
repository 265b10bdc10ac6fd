#include "pellion/document/shape.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "pellion/text/json_writer.h"
#include "pellion/text/redaction.h"
#include "pellion/text/similar_name.h"
#include "value/ascii.h"

namespace pellion {
namespace {

using platform::Value;

bool isText(const Value& value) { return value.kind() == Value::Kind::string; }

bool isPlainText(const Value& value) {
  return isText(value) &&
         std::ranges::none_of(value.text(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

bool isHex(const Value& value) {
  const auto isDigit = [](char character) { return std::isxdigit(static_cast<unsigned char>(character)) != 0; };
  return isText(value) && value.text().size() % 2 == 0 && std::ranges::all_of(value.text(), isDigit);
}

bool isSeconds(const Value& value) {
  constexpr double tenYears = 10 * 366 * 86'400.0;
  if (value.kind() == Value::Kind::floating) return value.floating() >= 0 && value.floating() <= tenYears;
  return isIntegerIn(value, 0, static_cast<std::int64_t>(tenYears));
}

/// RFC 3986, 3.1
bool isScheme(const Value& value) {
  const std::string_view text = value.text();
  return !text.empty() && std::isalpha(static_cast<unsigned char>(text.front())) != 0 &&
         std::ranges::all_of(text, [](unsigned char character) {
           return std::isalnum(character) != 0 || character == '+' || character == '-' || character == '.';
         });
}

const Shape schemeShape{"the scheme of a URL, such as \"shop\"", isScheme};

/// The server sets the fields that say where an answer ends: a scenario's own would contradict them by accident.
bool isHeadersToSend(const Value& value) {
  constexpr std::string_view servers[] = {"content-length", "transfer-encoding", "connection"};
  const auto isFieldValue = [](unsigned char character) { return character >= 0x20 || character == '\t'; };
  return isObject(value) && std::ranges::all_of(value.entries(), [&](const Value::Entry& field) {
           const std::string_view name = field.key.text();
           return value::isToken(name) &&
                  std::ranges::find(servers, value::asciiLowercase(name)) == std::end(servers) && isText(field.value) &&
                  std::ranges::all_of(field.value.text(), isFieldValue);
         });
}

/// A value for an error line, or its description: redaction could not recognise part of a secret.
std::string shown(const Value& value, const Shape& shape) {
  constexpr std::size_t longest = 40;
  if (shape.holdsSecrets) return "the value here";
  std::string text = compactJSON(value);
  if (text.size() <= longest) return maskedBearer(text);
  if (isText(value)) return "this string of " + std::to_string(value.text().size()) + " bytes";
  return isList(value) ? "this list" : "this object";
}

/// The entry of the same object in which the name would be right; empty if there is none.
std::string_view homeOf(std::string_view name, const Shape& shape) {
  const auto isHome = [&](const Field& field) {
    return std::ranges::find(field.shape->fields, name, &Field::name) != field.shape->fields.end();
  };
  const auto home = std::ranges::find_if(shape.fields, isHome);
  return home == shape.fields.end() ? std::string_view() : home->name;
}

void checkFields(std::string_view file, const JSONNode& node, const Shape& shape, std::string_view what) {
  for (const JSONMember& member : node.members) {
    const auto field = std::ranges::find(shape.fields, member.name, &Field::name);
    if (field == shape.fields.end()) {
      std::vector<std::string_view> names;
      for (const Field& each : shape.fields) names.push_back(each.name);
      const std::string_view home = homeOf(member.name, shape);
      throw errorAt(file, member.position,
                    std::string(what) + " has no \"" + member.name + "\"; " +
                        (home.empty() ? remedyForName(member.name, names, "it may have")
                                      : "it belongs into \"" + std::string(home) + "\""));
    }
    checkShape(file, member.value, *field->shape, "\"" + member.name + "\"");
  }
  for (const Field& field : shape.fields) {
    if (field.isRequired && node.find(field.name) == nullptr) {
      throw errorAt(file, node.position,
                    std::string(what) + " has no \"" + std::string(field.name) + "\"; add it as " +
                        std::string(field.shape->expected));
    }
  }
}

/// The path of a file that the document names.
std::string pathNamed(std::string_view file, const JSONNode& name) {
  return (std::filesystem::path(file).parent_path() / name.value.text()).string();
}

/// The shape of an object's entry; null for an entry that it may not have.
const Shape* shapeOf(const JSONMember& member, const Shape& shape) {
  const auto field = std::ranges::find(shape.fields, member.name, &Field::name);
  return field == shape.fields.end() ? shape.item : field->shape;
}

/// The content at the position of the text that names its file, so that later errors are about the document.
JSONNode contentOf(std::string_view file, const JSONNode& name, Shape shape) {
  const std::string path = pathNamed(file, name);
  const FileKind& kind = *std::exchange(shape.file, nullptr);
  try {
    std::error_code ignored;
    if (std::filesystem::is_other(path, ignored)) {  // the command's own input included
      throw InputError(path + ": not a regular file; give the path of " + std::string(kind.name));
    }
    JSONNode content = readJSON(path, readInputFile(path, kind));
    checkShape(path, content, shape, "the content");
    if (shape.adopt != nullptr) shape.adopt(path, content);
    content.position = name.position;
    return content;
  } catch (const InputError& error) {
    throw errorAt(file, name.position, error.what());
  }
}

/// Returns whether the node has changed.
bool include(std::string_view file, JSONNode& node, const Shape& shape) {
  if (shape.file != nullptr && isText(node.value)) {
    node = contentOf(file, node, shape);
    return true;
  }
  bool hasChanged = false;
  std::vector<Value::Entry> entries;
  for (JSONMember& member : node.members) {
    const Shape* inner = shapeOf(member, shape);
    if (inner != nullptr && include(file, member.value, *inner)) hasChanged = true;
    entries.push_back({member.name, member.value.value});
  }
  if (hasChanged) node.value = Value::dictionary(entries);
  return hasChanged;
}

}  // namespace

void includeFiles(std::string_view file, JSONNode& node, const Shape& shape) { include(file, node, shape); }

void collectFiles(std::string_view file, const JSONNode& node, const Shape& shape, std::vector<NamedFile>& files) {
  if (shape.file != nullptr && isText(node.value)) files.push_back({pathNamed(file, node), node.position});
  for (const JSONMember& member : node.members) {
    if (const Shape* inner = shapeOf(member, shape)) collectFiles(file, member.value, *inner, files);
  }
}

bool isObject(const Value& value) { return value.ifDictionary() != nullptr; }
bool isList(const Value& value) { return value.ifList() != nullptr; }
bool isIntegerIn(const Value& value, std::int64_t least, std::int64_t most) {
  return value.kind() == Value::Kind::integer && !value.isUnsigned() && value.integer() >= least &&
         value.integer() <= most;
}

namespace shapes {
const Shape any{"any value", [](const Value&) { return true; }};
const Shape text{"a string", isText};
const Shape boolean{"true or false", [](const Value& value) { return value.kind() == Value::Kind::boolean; }};
const Shape seconds{"a number of seconds from 0 to ten years", isSeconds};
const Shape hex{"hexadecimal digits, two for each byte, such as \"0aff00\"", isHex};
const Shape textOrNull{"a string, or null for absent",
                       [](const Value& value) { return value.isNull() || isText(value); }};
const Shape plainTextOrNull{"a string without control characters, or null for absent",
                            [](const Value& value) { return value.isNull() || isPlainText(value); }};
const Shape hexOrNull{"hexadecimal digits, two for each byte, such as \"0aff00\", or null for absent",
                      [](const Value& value) { return value.isNull() || isHex(value); }};
const Shape textsByName{"an object of strings by name, null for absent", isObject, {}, &textOrNull};
const Shape hexByName{"an object of hexadecimal strings by name, null for absent", isObject, {}, &hexOrNull};
const Shape texts{"a list of strings", isList, {}, &text};
const Shape schemes{"a list of schemes", isList, {}, &schemeShape};
const Shape headersToSend{
    "an object of header fields and their values, without Content-Length, Transfer-Encoding and Connection, which "
    "the server sets itself; to send others of these, give the whole response as \"raw\"",
    isHeadersToSend};
}  // namespace shapes

void checkShape(std::string_view file, const JSONNode& node, const Shape& shape, std::string_view what) {
  if (!shape.isKind(node.value)) {
    throw errorAt(file, node.position,
                  std::string(what) + " cannot be " + shown(node.value, shape) + "; expected " +
                      std::string(shape.expected) +
                      (shape.file == nullptr ? "" : ", or the name of a file that holds it"));
  }
  if (!shape.fields.empty()) checkFields(file, node, shape, what);
  if (shape.check != nullptr) shape.check(file, node);
  if (shape.item == nullptr) return;
  for (const JSONMember& member : node.members) checkShape(file, member.value, *shape.item, "\"" + member.name + "\"");
  for (const JSONNode& element : node.elements) {
    checkShape(file, element, *shape.item, "an element of " + std::string(what));
  }
}

std::chrono::nanoseconds durationOf(const Value& seconds) {
  const double count = seconds.floating() + static_cast<double>(seconds.integer());
  return std::chrono::round<std::chrono::nanoseconds>(std::chrono::duration<double>(count));
}

Value bytesOfHex(std::string_view digits) {
  std::vector<std::uint8_t> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::from_chars(digits.data() + 2 * i, digits.data() + 2 * i + 2, bytes[i], 16);
  }
  return Value::bytes(bytes);
}

}  // namespace pellion
