#include "platform/value.h"

#include <cstring>
#include <limits>

#include "platform/exception.h"
#include "value/utf8.h"
#include "value/value_storage.h"

namespace platform {

Value::Value(std::string_view text) : Value(ValueStorage::makeText(Kind::string, text)) {}

Value Value::bytes(std::string_view data) { return ValueStorage::makeText(Kind::bytes, data); }
Value Value::bytes(ByteView data) {
  return bytes(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
}
Value Value::list(std::span<const Value> elements) { return ValueStorage::makeList(elements); }
Value Value::dictionary(std::span<const Entry> entries) { return ValueStorage::makeDictionary(entries); }
Value Value::object(id object) { return ValueStorage::makeObject(object); }

void swap(Value& left, Value& right) noexcept {
  alignas(Value) std::byte bits[sizeof(Value)];
  std::memcpy(bits, static_cast<const void*>(&left), sizeof(Value));
  std::memcpy(static_cast<void*>(&left), static_cast<const void*>(&right), sizeof(Value));
  std::memcpy(static_cast<void*>(&right), bits, sizeof(Value));
}

void Value::retain() const noexcept {
  if (kind_ == Kind::object) {
    objc_retain(payload_.object);
  } else {
    ValueStorage::retain(payload_.data);
  }
}

void Value::release() const noexcept {
  if (kind_ == Kind::object) {
    objc_release(payload_.object);
  } else {
    ValueStorage::release(kind_, payload_.data);
  }
}

const Value* Value::find(std::string_view key) const noexcept { return ValueStorage::find(entries(), key); }

const char* Value::className() const noexcept {
  switch (kind_) {
    case Kind::null: return "NSNull";
    case Kind::boolean: return "__NSCFBoolean";
    case Kind::integer:
    case Kind::floating: return "__NSCFNumber";
    case Kind::string: return "__NSCFString";
    case Kind::bytes: return "_NSInlineData";
    case Kind::list: return "__NSArrayI";
    case Kind::dictionary: return "__NSDictionaryI";
    case Kind::object: break;
  }
  return class_getName(object_getClass(payload_.object));
}

void Value::raiseUnrecognized(const char* selector) const {
  raiseUnrecognizedSelector(className(), selector, isShared() ? payload_.data : this);
}

namespace {

std::int64_t truncate(double number) {
  constexpr double beyond = 0x1p63;
  if (number != number) return 0;
  if (number >= beyond) return std::numeric_limits<std::int64_t>::max();
  if (number < -beyond) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

std::string_view withoutLeadingWhiteSpace(std::string_view text) {
  std::size_t start = 0;
  for (std::size_t next = 0; next != text.size(); start = next) {
    if (!value::isWhiteSpace(value::nextCharacter(text, next))) break;
  }
  return text.substr(start);
}

std::int64_t leadingInteger(std::string_view text) {
  text = withoutLeadingWhiteSpace(text);
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  // Accumulates a negative number, because the negative range is larger by one.
  std::int64_t result = 0;
  for (const char character : text) {
    if (character < '0' || character > '9') break;
    if (__builtin_mul_overflow(result, 10, &result) || __builtin_sub_overflow(result, character - '0', &result)) {
      return isNegative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
    }
  }
  if (isNegative) return result;
  return result == std::numeric_limits<std::int64_t>::min() ? std::numeric_limits<std::int64_t>::max() : -result;
}

}  // namespace

std::int64_t Value::integerValue() const {
  switch (kind_) {
    case Kind::boolean:
    case Kind::integer: return payload_.integer;  // above the signed range it wraps, as a conversion in C does
    case Kind::floating: return truncate(payload_.floating);
    case Kind::string: return leadingInteger(text());
    default: raiseUnrecognized("integerValue");
  }
}

}  // namespace platform
