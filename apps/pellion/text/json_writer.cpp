#include "pellion/text/json_writer.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>

#include "pellion/text/text_width.h"
#include "value/hexadecimal.h"

namespace pellion {
namespace {

using platform::Value;

class ValueWriter {
 public:
  using Writer = rapidjson::Writer<rapidjson::StringBuffer>;
  explicit ValueWriter(Writer& writer) : writer_(writer) {}

  void write(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::null: writer_.Null(); break;
      case Value::Kind::boolean: writer_.Bool(*value.ifBoolean()); break;
      case Value::Kind::integer:
        value.isUnsigned() ? writer_.Uint64(value.unsignedInteger()) : writer_.Int64(value.integer());
        break;
      case Value::Kind::floating:
        std::isfinite(value.floating()) ? writer_.Double(value.floating()) : text(value.description());
        break;
      case Value::Kind::string: text(value.text()); break;
      case Value::Kind::bytes: text(value::hexText(value.bytes())); break;
      case Value::Kind::list:
        writer_.StartArray();
        for (const Value& element : value.elements()) write(element);
        writer_.EndArray();
        break;
      case Value::Kind::dictionary:
        writer_.StartObject();
        for (const Value::Entry& entry : value.entries()) {
          const std::string name = wellFormed(entry.key.description());
          writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
          write(entry.value);
        }
        writer_.EndObject();
        break;
      case Value::Kind::object: text(value.description()); break;
    }
  }

 private:
  bool text(std::string_view text) {
    const std::string clean = wellFormed(text);
    return writer_.String(clean.data(), static_cast<rapidjson::SizeType>(clean.size()));
  }

  Writer& writer_;
};

/// Keeps a value on the current line, of which `used` columns are taken, if it fits.
void layOut(std::string& out, const Value& value, std::size_t indentation, std::size_t used) {
  constexpr std::size_t widest = 88;
  const std::string line = compactJSON(value);
  if ((value.elements().empty() && value.entries().empty()) || used + line.size() <= widest) {
    out += line;
    return;
  }
  const std::string newLine = "\n" + std::string(indentation + 2, ' ');
  const char* separator = "";
  const auto begin = [&] {
    out.append(separator).append(newLine);
    separator = ",";
  };
  out += line.front();
  for (const Value& element : value.elements()) {
    begin();
    layOut(out, element, indentation + 2, indentation + 2);
  }
  for (const Value::Entry& entry : value.entries()) {
    begin();
    const std::string name = compactJSON(entry.key) + ": ";
    out += name;
    layOut(out, entry.value, indentation + 2, indentation + 2 + name.size());
  }
  out += newLine.substr(0, newLine.size() - 2) + line.back();
}

}  // namespace

std::string compactJSON(const Value& value) {
  rapidjson::StringBuffer buffer;
  ValueWriter::Writer writer(buffer);
  ValueWriter(writer).write(value);
  return {buffer.GetString(), buffer.GetSize()};
}

std::string prettyJSON(const Value& value) {
  std::string text;
  layOut(text, value, 0, 0);
  return text;
}

std::string spacedJSON(const platform::Value& value) {
  std::string text;
  for (const platform::Value::Entry& entry : value.entries()) {
    text.append(text.empty() ? "{ " : ", ").append(compactJSON(entry.key)).append(": ").append(spacedJSON(entry.value));
  }
  if (!text.empty()) return text + " }";
  for (const platform::Value& element : value.elements())
    text.append(text.empty() ? "[" : ", ").append(spacedJSON(element));
  return text.empty() ? compactJSON(value) : text + "]";
}

}  // namespace pellion
