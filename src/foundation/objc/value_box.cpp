// Values as Foundation's objects.

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/objc/boxes.h"
#include "platform/error.h"
#include "platform/object_messages.h"
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

bool isError(id object) {
  const Class error = objc_getClass("NSError");
  Class cls = object_getClass(object);
  while (cls != nullptr && cls != error) cls = class_getSuperclass(cls);
  return cls != nullptr;
}

}  // namespace
}  // namespace foundation

namespace platform {

id boxed(const Value& value) { return foundation::box(value).autoreleased(); }
id boxed(const Value* value) { return value != nullptr ? boxed(*value) : nullptr; }

// GNUstep's description of an error is its localised description alone.
std::string objectDescription(id object) {
  const AutoreleasePool pool;
  const auto text = [object](const char* getter) {
    const std::optional<Value> value = unboxed(property(object, getter));
    return value && value->ifString() ? std::string(value->text()) : std::string("(null)");
  };
  if (!foundation::isError(object)) return text("description");
  const auto code = send<std::int64_t()>(object, sel_registerName("code"));
  const std::optional<Value> info = unboxed(property(object, "userInfo"));
  return Error{text("domain"), code, text("localizedDescription"), info.value_or(Value::dictionary({}))}.description();
}

}  // namespace platform
