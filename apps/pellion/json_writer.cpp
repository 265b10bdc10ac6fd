#include "pellion/json_writer.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>

#include "host/hexadecimal.h"
#include "pellion/printable.h"

namespace pellion {
namespace {

using platform::Value;

template <class Writer>
class ValueWriter {
 public:
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
      case Value::Kind::bytes: text(host::hexText(value.bytes())); break;
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

template <class Writer>
std::string written(const Value& value) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  if constexpr (requires { writer.SetIndent(' ', 2); }) writer.SetIndent(' ', 2);
  ValueWriter(writer).write(value);
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

std::string compactJSON(const Value& value) { return written<rapidjson::Writer<rapidjson::StringBuffer>>(value); }
std::string prettyJSON(const Value& value) { return written<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(value); }

}  // namespace pellion
