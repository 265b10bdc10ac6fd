#include "host/objc/objc_runtime.h"
#include "host/objc/object_variable.h"
#include "platform/class_face.h"
#include "platform/object_messages.h"

// The classes of strings, numbers, containers and the null object. Their instances hold a Value and represent it.

namespace host {
namespace {

using platform::Value;

const Value* heldValue(id object) {
  const Class cls = object_getClass(object);
  return cls != nullptr && cls->boxesValue ? &variableOf<Value>(object) : nullptr;
}

id box(Class cls, const Value& value) {
  const id object = class_createInstance(cls, 0);
  new (&variableOf<Value>(object)) Value(value);
  return object;
}

struct Box {
  static bool isEqual(id self, SEL, id other) {
    const Value* value = heldValue(other);
    return value != nullptr && *value == *heldValue(self);
  }
  static std::uint64_t hash(id self, SEL) { return heldValue(self)->hash(); }
  static id description(id self, SEL) { return platform::boxed(Value(heldValue(self)->description())); }
  static id copyWithZone(id self, SEL, void*) { return objc_retain(self); }
};

// The public classes, in the order of inheritance, and the private classes of the instances.
constexpr struct {
  const char* name;
  const char* superclass;
  std::initializer_list<Value::Kind> kinds;
} classes[] = {
    {"NSString", "NSObject", {}},
    {"NSNumber", "NSObject", {}},
    {"NSArray", "NSObject", {}},
    {"NSDictionary", "NSObject", {}},
    {"NSData", "NSObject", {}},
    {"NSNull", "NSObject", {Value::Kind::null}},
    {"__NSCFString", "NSString", {Value::Kind::string}},
    {"__NSCFNumber", "NSNumber", {Value::Kind::integer, Value::Kind::floating}},
    {"__NSCFBoolean", "NSNumber", {Value::Kind::boolean}},
    {"__NSArrayI", "NSArray", {Value::Kind::list}},
    {"__NSDictionaryI", "NSDictionary", {Value::Kind::dictionary}},
    {"_NSInlineData", "NSData", {Value::Kind::bytes}},
};

}  // namespace

void defineBoxClasses(Runtime& runtime) {
  for (const auto& [name, superclass, kinds] : classes) {
    const Class cls = runtime.allocateClassPair(runtime.findRegisteredClass(superclass), name);
    if (kinds.size() > 0) {
      cls->boxesValue = true;
      addVariable<Value>(cls);
      platform::ClassFace<Box>(cls)
          .method<Box::isEqual>("isEqual:")
          .method<Box::hash>("hash")
          .method<Box::description>("description")
          .method<Box::copyWithZone>("copyWithZone:");
    }
    runtime.registerClassPair(cls);
    for (const Value::Kind kind : kinds) runtime.boxes[static_cast<std::size_t>(kind)] = cls;
  }
  runtime.null = platform::Strong::adopt(box(runtime.boxes[0], Value()));
}

}  // namespace host

namespace platform {

id boxed(const Value& value) {
  if (const id object = value.ifObject()) return objc_autorelease(objc_retain(object));
  host::Runtime& runtime = host::Runtime::current();
  if (value.isNull()) return runtime.null.get();
  return objc_autorelease(host::box(runtime.boxes[static_cast<std::size_t>(value.kind())], value));
}

id boxed(const Value* value) { return value == nullptr ? nullptr : boxed(*value); }

std::optional<Value> unboxed(id object) {
  if (object == nullptr) return std::nullopt;
  const Value* value = host::heldValue(object);
  return value != nullptr ? *value : Value::object(object);
}

std::optional<Value> unboxedIfItHasKey(id object, std::string_view /*key*/) { return unboxed(object); }  // no copy

std::string objectDescription(id object) {
  const AutoreleasePool pool;
  const std::optional<Value> text = unboxed(property(object, "description"));
  return text ? std::string(text->text()) : "(null)";
}

}  // namespace platform
