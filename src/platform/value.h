#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/objc.h"

namespace platform {

using ByteView = std::span<const std::uint8_t>;

/// A tree of data as the platform's containers hold it: a payload, a statistics entry, a device token.
///
/// Immutable, 16 bytes, cheap to copy: copies share the text and the containers behind them, whose count is atomic,
/// so a Value may be read and copied on any thread. An absent value (nil) is never a Value: it is a null `const Value*`
/// or an empty optional. The JSON null is Kind::null.
///
/// Two families of accessors: `ifString()` returns nothing for another kind; `asString(selector)` raises
/// NSInvalidArgumentException, naming the selector that the platform would have sent to the wrong object.
class Value {
 public:
  enum class Kind : std::uint8_t {
    null,        ///< the null object, JSON's null
    boolean,     ///< true equals 1, false 0
    integer,     ///< 64 bits, signed; or unsigned above the signed range (isUnsigned)
    floating,    ///< a double
    string,      ///< UTF-8
    bytes,       ///< a device token, a body
    list,        ///< elements in order
    dictionary,  ///< entries in insertion order; keys are strings, rarely another kind from a caller, never containers
    object,      ///< any other runtime object, retained
  };
  struct Entry;

  Value() noexcept = default;  ///< null
  Value(std::nullptr_t) noexcept {}
  Value(bool boolean) noexcept : kind_(Kind::boolean) { payload_.integer = boolean ? 1 : 0; }
  template <class T>
  requires(std::is_integral_v<T> && !std::is_same_v<T, bool>) Value(T integer)
  noexcept : kind_(Kind::integer) {
    payload_.integer = static_cast<std::int64_t>(integer);
    if constexpr (std::is_unsigned_v<T>) isUnsigned_ = payload_.integer < 0;
  }
  Value(double floating) noexcept : kind_(Kind::floating) { payload_.floating = floating; }
  Value(std::string_view text);
  Value(const char* text) : Value(std::string_view(text)) {}
  Value(const std::string& text) : Value(std::string_view(text)) {}
  static Value bytes(ByteView data);
  static Value bytes(std::string_view data);
  static Value list(std::span<const Value> elements);
  static Value list(std::initializer_list<Value> elements) {
    return list(std::span(elements.begin(), elements.size()));
  }
  /// A repeated key keeps its first place and its last value.
  static Value dictionary(std::span<const Entry> entries);
  static Value dictionary(std::initializer_list<Entry> entries);
  static Value object(id object);  ///< not null

  Value(const Value& other) noexcept : Value(other, Bits{}) {
    if (other.isShared()) retain();
  }
  Value(Value&& other) noexcept : Value(other, Bits{}) {
    if (other.borrowed_) {
      retain();
    } else {
      other.kind_ = Kind::null;
    }
  }
  Value& operator=(Value other) noexcept {
    swap(*this, other);
    return *this;
  }
  ~Value() {
    if (isShared() && !borrowed_) release();
  }
  friend void swap(Value& left, Value& right) noexcept;

  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  [[nodiscard]] bool isNull() const noexcept { return kind_ == Kind::null; }
  [[nodiscard]] bool isNumber() const noexcept {
    return kind_ == Kind::boolean || kind_ == Kind::integer || kind_ == Kind::floating;
  }
  /// An integer above the signed range: read it with unsignedInteger().
  [[nodiscard]] bool isUnsigned() const noexcept { return isUnsigned_; }

  // Return the contents if this is of the named kind, nothing otherwise.
  [[nodiscard]] std::optional<bool> ifBoolean() const noexcept;
  [[nodiscard]] std::optional<std::string_view> ifString() const noexcept;
  [[nodiscard]] std::optional<ByteView> ifBytes() const noexcept;
  [[nodiscard]] const Value* ifList() const noexcept { return kind_ == Kind::list ? this : nullptr; }
  [[nodiscard]] const Value* ifDictionary() const noexcept { return kind_ == Kind::dictionary ? this : nullptr; }
  [[nodiscard]] id ifObject() const noexcept { return kind_ == Kind::object ? payload_.object : nullptr; }

  // Raise for another kind, as the platform does when `selector` is sent to it.
  std::string_view asString(const char* selector) const;
  ByteView asBytes(const char* selector) const;
  std::span<const Value> asList(const char* selector) const;
  const Value& asDictionary(const char* selector = "objectForKey:") const;
  /// `count`: the elements of a list, the entries of a dictionary. Raises for any other kind.
  [[nodiscard]] std::size_t count() const;

  // The contents, for a caller that knows the kind; 0 or empty for another kind.
  [[nodiscard]] std::int64_t integer() const noexcept { return kind_ == Kind::integer ? payload_.integer : 0; }
  [[nodiscard]] std::uint64_t unsignedInteger() const noexcept { return static_cast<std::uint64_t>(integer()); }
  [[nodiscard]] double floating() const noexcept { return kind_ == Kind::floating ? payload_.floating : 0; }
  [[nodiscard]] std::string_view text() const noexcept;
  [[nodiscard]] ByteView bytes() const noexcept;
  [[nodiscard]] std::span<const Value> elements() const noexcept;
  [[nodiscard]] std::span<const Entry> entries() const noexcept;
  /// The value under `key` in a dictionary; null when there is none or this is no dictionary. Constant time.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;

  /// `integerValue`: a number truncated towards zero, a text's leading integer (white space, one sign, digits;
  /// saturating; 0 without digits). Raises for any other kind.
  [[nodiscard]] std::int64_t integerValue() const;
  /// The text that "%@" prints.
  [[nodiscard]] std::string description() const;
  /// The class that the platform's messages show for this kind: "__NSCFString", "NSNull" and so on.
  [[nodiscard]] const char* className() const noexcept;
  [[nodiscard]] std::size_t hash() const noexcept;  ///< the same for equal values, also for numbers of different kinds
  /// The platform's equality: numbers by value across kinds, never equal to text; dictionaries without regard to order.
  friend bool operator==(const Value& left, const Value& right) noexcept;

 private:
  friend class ValueStorage;  // src/value places texts and containers in memory
  friend class DocumentBuilder;
  struct Bits {};
  Value(const Value& other, Bits) noexcept
      : kind_(other.kind_), isUnsigned_(other.isUnsigned_), count_(other.count_), payload_(other.payload_) {}
  [[nodiscard]] bool isShared() const noexcept { return kind_ >= Kind::string; }
  void retain() const noexcept;
  void release() const noexcept;
  [[noreturn]] void raiseUnrecognized(const char* selector) const;

  Kind kind_ = Kind::null;
  bool isUnsigned_ = false;
  bool borrowed_ = false;    // lives inside the storage that it points into, and does not count as a reference to it
  std::uint32_t count_ = 0;  // bytes of text, elements, entries
  union Payload {
    std::int64_t integer;
    double floating;
    const void* data;  // follows a header that src/value defines
    id object;
  } payload_ = {.integer = 0};
};

struct Value::Entry {
  Value key;
  Value value;
};

inline Value Value::dictionary(std::initializer_list<Entry> entries) {
  return dictionary(std::span(entries.begin(), entries.size()));
}
inline std::optional<bool> Value::ifBoolean() const noexcept {
  return kind_ == Kind::boolean ? std::optional(payload_.integer != 0) : std::nullopt;
}
inline std::string_view Value::text() const noexcept {
  return kind_ == Kind::string ? std::string_view(static_cast<const char*>(payload_.data), count_) : std::string_view();
}
inline ByteView Value::bytes() const noexcept {
  return kind_ == Kind::bytes ? ByteView(static_cast<const std::uint8_t*>(payload_.data), count_) : ByteView();
}
inline std::optional<std::string_view> Value::ifString() const noexcept {
  return kind_ == Kind::string ? std::optional(text()) : std::nullopt;
}
inline std::optional<ByteView> Value::ifBytes() const noexcept {
  return kind_ == Kind::bytes ? std::optional(bytes()) : std::nullopt;
}
inline std::span<const Value> Value::elements() const noexcept {
  if (kind_ != Kind::list) return {};
  return {static_cast<const Value*>(payload_.data), count_};
}
inline std::span<const Value::Entry> Value::entries() const noexcept {
  if (kind_ != Kind::dictionary) return {};
  return {static_cast<const Entry*>(payload_.data), count_};
}
inline std::string_view Value::asString(const char* selector) const {
  if (kind_ != Kind::string) raiseUnrecognized(selector);
  return text();
}
inline ByteView Value::asBytes(const char* selector) const {
  if (kind_ != Kind::bytes) raiseUnrecognized(selector);
  return bytes();
}
inline std::span<const Value> Value::asList(const char* selector) const {
  if (kind_ != Kind::list) raiseUnrecognized(selector);
  return elements();
}
inline std::size_t Value::count() const {
  if (kind_ != Kind::list && kind_ != Kind::dictionary) raiseUnrecognized("count");
  return count_;
}
inline const Value& Value::asDictionary(const char* selector) const {
  if (kind_ != Kind::dictionary) raiseUnrecognized(selector);
  return *this;
}

/// Convert between the two forms of a value that may be absent.
template <class T>
const T* orNull(const std::optional<T>& value) {
  return value ? &*value : nullptr;
}
inline std::optional<Value> copied(const Value* value) { return value ? std::optional(*value) : std::nullopt; }

/// Convert a Value to a runtime object (the platform's string, number, dictionary …) and back. Boxing a Kind::object
/// gives the object itself. A null object unboxes to nothing.
id boxed(const Value& value);  // autoreleased
id boxed(const Value* value);  // null for null
std::optional<Value> unboxed(id object);
/// The same, but nothing also for a dictionary of string keys when no dictionary in it has the key, at any depth: to
/// look for it costs less than a copy. A backend that does not know soon returns the Value.
std::optional<Value> unboxedIfItHasKey(id object, std::string_view key);

/// Implemented by the backend: the text that "%@" prints for an object that no other kind of Value holds.
std::string objectDescription(id object);

}  // namespace platform
