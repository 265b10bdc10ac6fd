// Values as Foundation's objects and back. An object of another class than those of values stays itself.

#include <cstdlib>
#include <utility>
#include <vector>

#include "foundation/objc/boxes.h"
#include "foundation/objc/guarded.h"
#include "platform/reference.h"
#include "platform/value.h"

namespace foundation {
namespace {

using platform::Strong;
using platform::Value;

std::vector<id> handlesOf(const std::vector<Strong>& objects) {
  std::vector<id> handles;
  handles.reserve(objects.size());
  for (const Strong& each : objects) handles.push_back(each.get());
  return handles;
}

Strong box(const Value& value);

Strong boxList(const Value& value) {
  std::vector<Strong> elements;
  elements.reserve(value.elements().size());
  for (const Value& each : value.elements()) elements.push_back(box(each));
  return Strong::adopt(foundation_makeArray(handlesOf(elements).data(), elements.size()));
}

Strong boxDictionary(const Value& value) {
  std::vector<Strong> keys;
  std::vector<Strong> values;
  for (const Value::Entry& each : value.entries()) {
    keys.push_back(box(each.key));
    values.push_back(box(each.value));
  }
  return Strong::adopt(foundation_makeDictionary(handlesOf(keys).data(), handlesOf(values).data(), keys.size()));
}

/// Text that is no UTF-8 has no string on the platform; it becomes the null object here, so that a container can hold
/// it.
Strong boxText(std::string_view text) {
  Strong string = Strong::adopt(foundation_makeString(text.data(), text.size()));
  return string ? string : Strong::adopt(foundation_makeNull());
}

Strong box(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::null: return Strong::adopt(foundation_makeNull());
    case Value::Kind::boolean: return Strong::adopt(foundation_makeBoolean(*value.ifBoolean()));
    case Value::Kind::integer:
      return Strong::adopt(value.isUnsigned() ? foundation_makeUnsigned(value.unsignedInteger())
                                              : foundation_makeInteger(value.integer()));
    case Value::Kind::floating: return Strong::adopt(foundation_makeFloating(value.floating()));
    case Value::Kind::string: return boxText(value.text());
    case Value::Kind::bytes: return Strong::adopt(foundation_makeData(value.bytes().data(), value.bytes().size()));
    case Value::Kind::list: return boxList(value);
    case Value::Kind::dictionary: return boxDictionary(value);
    case Value::Kind::object: return value.ifObject();
  }
  std::abort();
}

constexpr int deepest = 512;  // a container may hold itself; what is deeper than any payload stays an object

Value unbox(id object, int depth);

Value unboxText(id string) {
  std::size_t length = 0;
  const char* text = foundation_textOf(string, &length);
  return std::string_view(text, length);
}

Value unboxData(id data) {
  std::size_t length = 0;
  const auto* bytes = static_cast<const std::uint8_t*>(foundation_bytesOf(data, &length));
  return Value::bytes(platform::ByteView(bytes, length));
}

Value unboxArray(id array, int depth) {
  std::vector<id> objects(foundation_countOf(array));
  objects.resize(foundation_elementsOf(array, objects.data(), objects.size()));
  std::vector<Value> elements;
  elements.reserve(objects.size());
  for (const id each : objects) elements.push_back(unbox(each, depth + 1));
  return Value::list(elements);
}

Value unboxDictionary(id dictionary, int depth) {
  std::vector<id> keys(foundation_countOf(dictionary));
  std::vector<id> values(keys.size());
  keys.resize(foundation_entriesOf(dictionary, keys.data(), values.data(), keys.size()));
  std::vector<Value::Entry> entries;
  entries.reserve(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const foundation_Kind kind = foundation_kindOf(keys[i]);
    const bool isContainer = kind == foundation_array || kind == foundation_dictionary;
    entries.push_back({isContainer ? Value::object(keys[i]) : unbox(keys[i], depth + 1), unbox(values[i], depth + 1)});
  }
  return Value::dictionary(entries);
}

Value unbox(id object, int depth) {
  switch (foundation_kindOf(object)) {
    case foundation_null: return {};
    case foundation_boolean: return foundation_integerOf(object) != 0;
    case foundation_integer: return foundation_integerOf(object);
    case foundation_unsigned: return static_cast<std::uint64_t>(foundation_integerOf(object));
    case foundation_floating: return foundation_floatingOf(object);
    case foundation_string: return unboxText(object);
    case foundation_data: return unboxData(object);
    case foundation_array: return depth < deepest ? unboxArray(object, depth) : Value::object(object);
    case foundation_dictionary: return depth < deepest ? unboxDictionary(object, depth) : Value::object(object);
    case foundation_other: return Value::object(object);
  }
  std::abort();
}

}  // namespace
}  // namespace foundation

namespace platform {

id boxed(const Value& value) { return foundation::box(value).autoreleased(); }
id boxed(const Value* value) { return value != nullptr ? boxed(*value) : nullptr; }

std::optional<Value> unboxed(id object) {
  if (object == nullptr) return std::nullopt;
  Value value;
  foundation::guarded(
      [&] { value = foundation::unbox(object, 0); });  // an object may be of the application's own class
  return value;
}

}  // namespace platform
