#include <simdjson.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "services/property_list/property_list.h"
#include "services/property_list/property_list_reading.h"
#include "value/utf8.h"

namespace services {
namespace {

using platform::Value;

// The limit of a file's tree, in which each reference counts as an object. A node takes about a Value and its slot.
constexpr std::uint64_t largestTree = 16 * largestPropertyList;
constexpr std::uint64_t nodeSize = 64;

constexpr std::size_t trailerSize = 32;

/// Returns "2026-01-31T12:00:00Z"; returns nothing for a date outside the years that have four digits.
std::optional<std::string> dateText(double secondsSince2001) {
  constexpr double most = 1e12;
  constexpr std::time_t year2001 = 978'307'200;
  const double seconds = std::floor(secondsSince2001);
  if (!(std::fabs(seconds) < most)) return std::nullopt;
  const std::time_t time = year2001 + static_cast<std::time_t>(seconds);
  std::tm date{};
  gmtime_r(&time, &date);
  const int year = date.tm_year + 1900;
  if (year < 0 || year > 9999) return std::nullopt;
  char text[80];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02dZ", year, date.tm_mon + 1, date.tm_mday, date.tm_hour,
                date.tm_min, date.tm_sec);
  return text;
}

class BinaryReader {
 public:
  BinaryReader(std::string_view data, std::string_view name) : data_(data), name_(name) {}

  Value read() {
    readTrailer();
    trees_.resize(objectCount_);
    enter(topObject_);
    while (!open_.empty()) {
      Container& container = open_.back();
      if (container.next == container.count) {
        leave();
      } else {
        const std::uint64_t child = reference(container, container.next);
        if (container.next++ < container.keyCount) checkKey(child);
        visit(child);
      }
    }
    return trees_[topObject_].value;
  }

 private:
  struct Object {
    int type;             // the marker's upper half
    std::uint64_t count;  // bytes of content; for a container, its number of references
    std::uint64_t content;
  };
  /// An object with everything that it holds, counted for each reference.
  struct Tree {
    enum class State : std::uint8_t { unseen, entered, known } state = State::unseen;
    std::uint32_t height = 1;
    std::uint64_t weight = nodeSize;
    Value value = {};
  };
  struct Container {
    std::uint64_t object;
    bool isDictionary;
    std::uint64_t references;  // where the references are
    std::uint64_t count;
    std::uint64_t keyCount;  // the first `keyCount` references are keys
    std::uint64_t next;
  };

  [[noreturn]] void fail(const std::string& problem) const {
    throw PropertyListError(std::string(name_) + ": broken binary property list: " + problem);
  }

  std::uint64_t number(std::uint64_t at, std::uint64_t size) const {
    std::uint64_t result = 0;
    for (const char byte : data_.substr(at, size)) result = result << 8 | static_cast<unsigned char>(byte);
    return result;
  }
  std::uint64_t reference(const Container& container, std::uint64_t index) const {
    return number(container.references + index * referenceSize_, referenceSize_);
  }

  void readTrailer() {
    if (data_.size() < trailerSize + 8) fail("it is truncated");
    end_ = data_.size() - trailerSize;
    offsetSize_ = number(end_ + 6, 1);
    referenceSize_ = number(end_ + 7, 1);
    objectCount_ = number(end_ + 8, 8);
    topObject_ = number(end_ + 16, 8);
    table_ = number(end_ + 24, 8);
    const auto isSize = [](std::uint64_t size) { return size >= 1 && size <= 8; };
    if (!isSize(offsetSize_) || !isSize(referenceSize_) || table_ > end_ ||
        objectCount_ > (end_ - table_) / offsetSize_ || objectCount_ > table_ || topObject_ >= objectCount_) {
      fail("its trailer does not match its size");
    }
    end_ = table_;
  }

  Object objectAt(std::uint64_t index) const {
    std::uint64_t at = number(table_ + index * offsetSize_, offsetSize_);
    if (at >= end_) fail("an object lies outside");
    const std::uint64_t marker = number(at++, 1);
    const int type = static_cast<int>(marker >> 4);
    std::uint64_t count = marker & 0xF;
    const bool hasLength = type == 0x4 || type == 0x5 || type == 0x6 || type >= 0xA;
    if (hasLength && count == 0xF) {
      const std::uint64_t sizeMarker = at < end_ ? number(at++, 1) : 0;
      const std::uint64_t size = std::uint64_t{1} << (sizeMarker & 0xF);
      if (sizeMarker >> 4 != 1 || size > 8 || size > end_ - at) fail("a length is not a number");
      count = number(at, size);
      at += size;
    }
    if (count > end_) fail("an object is longer than the file");
    std::uint64_t size = count;
    if (type == 0x0) size = 0;
    if (type == 0x1 || type == 0x2 || type == 0x3) size = std::uint64_t{1} << count;
    if (type == 0x6) size = 2 * count;
    if (type == 0x8) size = count + 1;
    if (type == 0xD) count *= 2;
    if (type >= 0xA) size = count * referenceSize_;
    if (size > end_ - at) fail("an object is longer than the file");
    return {type, type >= 0xA ? count : size, at};
  }

  void checkKey(std::uint64_t index) const {
    if (index >= objectCount_) fail("a reference has no target");
    const Object key = objectAt(index);
    if (key.type != 0x5 && key.type != 0x6) fail("a key is not a string");
  }

  void visit(std::uint64_t index) {
    if (index >= objectCount_) fail("a reference has no target");
    if (trees_[index].state == Tree::State::entered) fail("a container contains itself");
    if (trees_[index].state == Tree::State::unseen) {
      enter(index);
    } else {
      addToParent(trees_[index]);
    }
  }

  void enter(std::uint64_t index) {
    const Object object = objectAt(index);
    Tree& tree = trees_[index];
    if (object.type >= 0xA) {
      const bool isDictionary = object.type == 0xD;
      if (!isDictionary && object.type != 0xA) failOverKind();
      tree.state = Tree::State::entered;
      open_.push_back({index, isDictionary, object.content, object.count, isDictionary ? object.count / 2 : 0, 0});
    } else {
      tree.state = Tree::State::known;
      tree.weight += object.count;
      tree.value = leaf(object);
      addToParent(tree);
    }
  }

  void leave() {
    const Container container = open_.back();
    open_.pop_back();
    Tree& tree = trees_[container.object];
    tree.state = Tree::State::known;
    tree.value = container.isDictionary ? dictionary(container) : list(container);
    addToParent(tree);
  }

  Value dictionary(const Container& container) const {
    std::vector<Value::Entry> entries;
    for (std::uint64_t i = 0; i != container.keyCount; ++i) {
      const Value& key = trees_[reference(container, i)].value;
      entries.push_back({key, trees_[reference(container, container.keyCount + i)].value});
    }
    return Value::dictionary(entries);
  }
  Value list(const Container& container) const {
    std::vector<Value> elements;
    for (std::uint64_t i = 0; i != container.count; ++i) elements.push_back(trees_[reference(container, i)].value);
    return Value::list(elements);
  }

  Value leaf(const Object& object) const {
    const std::string_view content = data_.substr(object.content, object.count);
    switch (object.type) {
      case 0x0: return boolean(object);
      case 0x1: return integer(object);
      case 0x2: return real(object);
      case 0x3: return date(object);
      case 0x4: return Value::bytes(content);
      case 0x5:
        if (!simdjson::validate_utf8(content.data(), content.size())) fail("a string is not valid Unicode");
        return content;
      case 0x6: {
        const std::optional<std::string> text = value::toUTF8(content, "UTF-16BE");
        if (!text) fail("a string is not valid Unicode");
        return *text;
      }
      case 0x8:
        if (object.count > 8) fail("the size of a number is wrong");
        return Value::dictionary({{"CF$UID", number(object.content, object.count)}});
      default: failOverKind();
    }
  }

  Value boolean(const Object& object) const {
    const std::uint64_t marker = number(object.content - 1, 1);
    if (marker != 0x8 && marker != 0x9) failOverKind();
    return marker == 0x9;
  }
  /// Reads up to four bytes without a sign, eight and sixteen with one.
  Value integer(const Object& object) const {
    if (object.count < 8) return number(object.content, object.count);
    if (object.count > 16) fail("the size of a number is wrong");
    const std::uint64_t low = number(object.content + object.count - 8, 8);
    const auto asSigned = static_cast<std::int64_t>(low);
    if (object.count == 8) return asSigned;
    const std::uint64_t high = number(object.content, 8);
    if (high == 0) return low;
    if (high != UINT64_MAX || asSigned >= 0) fail("an integer does not fit 64 bits");
    return asSigned;
  }
  Value real(const Object& object) const {
    const std::uint64_t bits = number(object.content, object.count);
    if (object.count == 4) return double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))};
    if (object.count != 8) fail("the size of a number is wrong");
    return std::bit_cast<double>(bits);
  }
  Value date(const Object& object) const {
    if (object.count != 8) fail("the size of a date is wrong");
    const std::optional<std::string> text = dateText(std::bit_cast<double>(number(object.content, 8)));
    if (!text) fail("a date lies outside the years 0 to 9999");
    return *text;
  }
  [[noreturn]] void failOverKind() const { fail("it contains a value that is not a property list value"); }

  void addToParent(const Tree& tree) {
    if (open_.empty()) return;
    Tree& parent = trees_[open_.back().object];
    parent.weight += tree.weight;
    parent.height = std::max(parent.height, tree.height + 1);
    if (parent.weight > largestTree) fail("its references repeat too many objects");
    if (parent.height > deepestPropertyList) fail("more than " + std::to_string(deepestPropertyList) + " levels");
  }

  std::string_view data_;
  std::string_view name_;
  std::uint64_t end_ = 0;
  std::uint64_t offsetSize_ = 0;
  std::uint64_t referenceSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t topObject_ = 0;
  std::uint64_t table_ = 0;
  std::vector<Tree> trees_;  // indexed by object
  std::vector<Container> open_;
};

}  // namespace

Value readBinaryPropertyList(std::string_view data, std::string_view name) { return BinaryReader(data, name).read(); }

}  // namespace services
