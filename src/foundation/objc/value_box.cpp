// Values as Foundation's objects and back. An object of another class than those of values stays itself.

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/objc/boxes.h"
#include "foundation/objc/guarded.h"
#include "platform/reference.h"
#include "platform/value.h"
#include "value/value_storage.h"

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

/// Room for the objects of a container: few are on the stack.
class Objects {
 public:
  explicit Objects(std::size_t count) : many_(count > few_.size() ? count : 0) {}
  id* data() { return many_.empty() ? few_.data() : many_.data(); }

 private:
  std::array<id, 32> few_;  // NOLINT(cppcoreguidelines-pro-type-member-init): only what is filled is read
  std::vector<id> many_;
};

/// The text of a string object.
class Text {
 public:
  explicit Text(id string) {
    std::size_t length = 0;
    const char* text = foundation_textOf(string, few_.data(), few_.size(), &length);
    text_ = {text, length};
  }
  [[nodiscard]] std::string_view view() const { return text_; }

 private:
  std::array<char, 256> few_;  // NOLINT(cppcoreguidelines-pro-type-member-init): as above
  std::string_view text_;
};

/// Makes a tree of what JSON knows in one document, as payloads are: its values need no memory and no count of their
/// own.
class TreeBuilder {
 public:
  /// Returns nothing for a tree with other objects, which a document cannot own.
  std::optional<Value> build(id object) {
    Value root;
    return place(root, object, 0) ? std::optional(root) : std::nullopt;
  }

 private:
  bool place(Value& slot, id object, int depth) {
    switch (foundation_kindOf(object)) {
      case foundation_null: return true;
      case foundation_boolean: slot = foundation_integerOf(object) != 0; return true;
      case foundation_integer: slot = foundation_integerOf(object); return true;
      case foundation_unsigned: slot = static_cast<std::uint64_t>(foundation_integerOf(object)); return true;
      case foundation_floating: slot = foundation_floatingOf(object); return true;
      case foundation_string: document_.text(slot, Text(object).view()); return true;
      case foundation_array: return depth < deepest && placeArray(slot, object, depth);
      case foundation_dictionary: return depth < deepest && placeDictionary(slot, object, depth);
      case foundation_data:
      case foundation_other: return false;
    }
    std::abort();
  }
  bool placeArray(Value& slot, id array, int depth) {
    const std::size_t room = foundation_countOf(array);
    Objects elements(room);
    const std::size_t count = foundation_elementsOf(array, elements.data(), room);
    Value* places = document_.list(slot, count);
    for (std::size_t i = 0; i < count; ++i) {
      if (!place(places[i], elements.data()[i], depth + 1)) return false;
    }
    return true;
  }
  bool placeDictionary(Value& slot, id dictionary, int depth) {
    const std::size_t room = foundation_countOf(dictionary);
    Objects keys(room);
    Objects values(room);
    const std::size_t count = foundation_entriesOf(dictionary, keys.data(), values.data(), room);
    Value::Entry* entries = document_.dictionary(slot, count);
    for (std::size_t i = 0; i < count; ++i) {
      const id key = keys.data()[i];
      if (foundation_kindOf(key) != foundation_string) return false;
      document_.text(entries[i].key, Text(key).view());
      if (!place(entries[i].value, values.data()[i], depth + 1)) return false;
    }
    platform::DocumentBuilder::endDictionary(slot);
    return true;
  }

  platform::DocumentBuilder document_{1024};
};

Value unboxText(id string) { return Text(string).view(); }

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
  std::optional<Value> value;
  foundation::guarded([&] {  // an object may be of the application's own class
    const foundation_Kind kind = foundation_kindOf(object);
    const bool isContainer = kind == foundation_array || kind == foundation_dictionary;
    if (isContainer) value = foundation::TreeBuilder().build(object);
    if (!value) value = foundation::unbox(object, 0);
  });
  return value;
}

}  // namespace platform
