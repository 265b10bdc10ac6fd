// Equality and hash of Values. Neither recurses, so depth costs no stack.

#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/send.h"
#include "platform/value.h"
#include "value/value_storage.h"

namespace platform {
namespace {

using Kind = Value::Kind;

bool isContainer(const Value& value) { return value.kind() == Kind::list || value.kind() == Kind::dictionary; }
std::int64_t integerOf(const Value& number) {
  return number.kind() == Kind::boolean ? std::int64_t{number.ifBoolean() == true} : number.integer();
}

/// Returns the integer that compares equal to a floating point number, or null when there is none.
Value asInteger(double number) {
  if (std::trunc(number) != number) return {};
  if (number >= -0x1p63 && number < 0x1p63) return static_cast<std::int64_t>(number);
  if (number >= 0x1p63 && number < 0x1p64) return static_cast<std::uint64_t>(number);
  return {};
}

bool areEqualNumbers(const Value& left, const Value& right) {
  if (left.kind() == Kind::floating) {
    if (right.kind() == Kind::floating) return left.floating() == right.floating();
    const Value integer = asInteger(left.floating());
    return integer.isNumber() && areEqualNumbers(integer, right);
  }
  if (right.kind() == Kind::floating) return areEqualNumbers(right, left);
  return integerOf(left) == integerOf(right) && left.isUnsigned() == right.isUnsigned();
}

bool areEqualObjects(id left, id right) {
  static const SEL isEqual = sel_registerName("isEqual:");
  return left == right || send<bool(id)>(left, isEqual, right);
}

bool areEqualBytes(ByteView left, ByteView right) {
  return left.size() == right.size() && (left.empty() || std::memcmp(left.data(), right.data(), left.size()) == 0);
}

bool areEqualLeaves(const Value& left, const Value& right) {
  if (left.isNumber() && right.isNumber()) return areEqualNumbers(left, right);
  if (left.kind() != right.kind()) return false;
  switch (left.kind()) {
    case Kind::null: return true;
    case Kind::string: return left.text() == right.text();
    case Kind::bytes: return areEqualBytes(left.bytes(), right.bytes());
    case Kind::object: return areEqualObjects(left.ifObject(), right.ifObject());
    default: return false;
  }
}

/// Compares two trees. A list holds the pairs of containers whose contents are not compared yet.
class TreeComparison {
 public:
  bool areEqual(const Value& left, const Value& right) {
    if (!compare(left, right)) return false;
    while (!pending_.empty()) {
      const auto [first, second] = pending_.back();
      pending_.pop_back();
      if (!(first->kind() == Kind::list ? compareElements(*first, *second) : compareEntries(*first, *second))) {
        return false;
      }
    }
    return true;
  }

 private:
  bool compare(const Value& left, const Value& right) {
    if (!isContainer(left)) return areEqualLeaves(left, right);
    if (left.kind() != right.kind()) return false;
    if (left.kind() == Kind::list) {
      if (left.elements().size() != right.elements().size()) return false;
      if (left.elements().data() == right.elements().data()) return true;
    } else {
      if (left.entries().size() != right.entries().size()) return false;
      if (left.entries().data() == right.entries().data()) return true;
    }
    pending_.emplace_back(&left, &right);
    return true;
  }
  bool compareElements(const Value& left, const Value& right) {
    const auto others = right.elements();
    std::size_t i = 0;
    for (const Value& element : left.elements()) {
      if (!compare(element, others[i++])) return false;
    }
    return true;
  }
  bool compareEntries(const Value& left, const Value& right) {
    for (const Value::Entry& entry : left.entries()) {
      const Value* other = ValueStorage::find(right.entries(), entry.key);
      if (other == nullptr || !compare(entry.value, *other)) return false;
    }
    return true;
  }

  std::vector<std::pair<const Value*, const Value*>> pending_;
};

std::uint64_t hashNumber(const Value& number) {
  if (number.kind() == Kind::floating) {
    const Value integer = asInteger(number.floating());
    if (integer.isNumber()) return hashNumber(integer);
    std::uint64_t bits = 0;
    const double floating = number.floating();
    std::memcpy(&bits, &floating, sizeof(bits));
    return mixHash(bits, 1);
  }
  return mixHash(static_cast<std::uint64_t>(integerOf(number)), 0);
}

/// A nested container adds only its kind and size to the hash. This tells real trees apart and bounds the work.
std::uint64_t hashShallowly(const Value& value) {
  static const SEL hash = sel_registerName("hash");
  const auto kind = static_cast<std::uint64_t>(value.kind());
  if (value.isNumber()) return hashNumber(value);
  switch (value.kind()) {
    case Kind::string: return hashText(value.text());
    case Kind::bytes:
      return mixHash(hashText({reinterpret_cast<const char*>(value.bytes().data()), value.bytes().size()}), kind);
    case Kind::object: return send<std::uint64_t()>(value.ifObject(), hash);
    default: return mixHash(value.elements().size() + value.entries().size(), kind);
  }
}

}  // namespace

bool operator==(const Value& left, const Value& right) noexcept {
  if (!isContainer(left)) return areEqualLeaves(left, right);
  return TreeComparison().areEqual(left, right);
}

std::size_t Value::hash() const noexcept {
  std::uint64_t result = hashShallowly(*this);
  for (const Value& element : elements()) result = mixHash(result, hashShallowly(element));
  for (const Entry& entry : entries()) result += mixHash(hashShallowly(entry.key), hashShallowly(entry.value));
  return result;
}

}  // namespace platform
