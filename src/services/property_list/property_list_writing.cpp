#include <fcntl.h>
#include <simdjson.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "services/property_list/property_list.h"
#include "value/utf8.h"

namespace services {
namespace {

using platform::Value;
using Kind = Value::Kind;

std::string toUTF16BE(std::string_view text) {
  std::string units;
  const auto append = [&](char32_t unit) { units += {static_cast<char>(unit >> 8), static_cast<char>(unit)}; };
  for (std::size_t next = 0; next != text.size();) {
    const char32_t character = value::nextCharacter(text, next);
    if (character >= 0x10000) {
      append(0xD7C0 + (character >> 10));
      append(0xDC00 + (character & 0x3FF));
    } else {
      append(character);
    }
  }
  return units;
}

/// Returns the smallest size, of those that a number may have in the file, that holds it, in bytes.
std::size_t sizeOf(std::uint64_t number) {
  if (number <= UINT8_MAX) return 1;
  if (number <= UINT16_MAX) return 2;
  return number <= UINT32_MAX ? 4 : 8;
}

/// Writes a tree level by level, so that the objects that a container refers to are consecutive.
class BinaryWriter {
 public:
  explicit BinaryWriter(std::string_view name) : name_(name) {}

  std::string write(const Value& root) && {
    objects_.push_back({&root, 0, 1, 0});
    for (std::size_t index = 0; index != objects_.size(); ++index) addChildren(index);
    referenceSize_ = sizeOf(objects_.size());
    std::vector<std::size_t> offsets;
    for (std::size_t index = 0; index != objects_.size(); ++index) {
      offsets.push_back(data_.size());
      appendObject(index);
      checkSize(data_.size());
    }
    const std::size_t table = data_.size();
    const std::size_t offsetSize = sizeOf(table);
    for (const std::size_t offset : offsets) appendNumber(offset, offsetSize);
    data_.append(6, '\0');
    appendNumber(offsetSize, 1);
    appendNumber(referenceSize_, 1);
    appendNumber(objects_.size(), 8);
    appendNumber(0, 8);  // the root
    appendNumber(table, 8);
    checkSize(data_.size());
    return std::move(data_);
  }

 private:
  struct Object {
    const Value* value;
    std::size_t parent;
    std::size_t level;
    std::size_t firstChild;  // for a dictionary, its first key; the values follow the keys
  };

  [[noreturn]] void fail(std::size_t index, const std::string& problem) const {
    const std::string path = pathOf(index);
    throw PropertyListError(name_ + ": " + (path.empty() ? "" : "key path " + path + ": ") + problem);
  }
  std::string pathOf(std::size_t index) const {
    std::string path;
    for (; index != 0; index = objects_[index].parent) {
      const Object& parent = objects_[objects_[index].parent];
      const auto entries = parent.value->entries();
      const std::size_t place = index - parent.firstChild;
      if (place < entries.size()) continue;  // a key has its dictionary's path
      const std::string part =
          entries.empty() ? std::to_string(place) : std::string(entries[place - entries.size()].key.text());
      path = part + (path.empty() ? "" : ".") + path;
    }
    return path;
  }
  /// Every object takes at least one byte.
  void checkSize(std::size_t size) const {
    if (size > largestPropertyList) {
      throw PropertyListError(name_ + ": larger than the " + std::to_string(largestPropertyList >> 20) +
                              " MiB that a property list may have");
    }
  }

  void addChildren(std::size_t index) {
    const Value& value = *objects_[index].value;
    objects_[index].firstChild = objects_.size();
    if (objects_[index].level > deepestPropertyList) {
      fail(index, "more than " + std::to_string(deepestPropertyList) + " levels");
    }
    const auto add = [&](const Value& child) { objects_.push_back({&child, index, objects_[index].level + 1, 0}); };
    for (const Value::Entry& entry : value.entries()) {
      if (!entry.key.ifString()) fail(index, std::string("a key must be a string, not ") + entry.key.className());
      add(entry.key);
    }
    for (const Value::Entry& entry : value.entries()) add(entry.value);
    for (const Value& element : value.elements()) add(element);
    checkSize(objects_.size());
  }

  void appendObject(std::size_t index) {
    const Value& value = *objects_[index].value;
    switch (value.kind()) {
      case Kind::boolean: appendNumber(value.ifBoolean() == true ? 0x09 : 0x08, 1); break;
      case Kind::integer: appendInteger(value); break;
      case Kind::floating:
        appendNumber(0x23, 1);
        appendNumber(std::bit_cast<std::uint64_t>(value.floating()), 8);
        break;
      case Kind::string: appendText(index); break;
      case Kind::bytes:
        appendMarker(0x4, value.bytes().size());
        data_.append(reinterpret_cast<const char*>(value.bytes().data()), value.bytes().size());
        break;
      case Kind::list: appendContainer(0xA, index, value.elements().size(), value.elements().size()); break;
      case Kind::dictionary: appendContainer(0xD, index, value.entries().size(), 2 * value.entries().size()); break;
      default: fail(index, std::string("a property list cannot hold ") + value.className());
    }
  }
  void appendNumber(std::uint64_t number, std::size_t size) {
    for (std::size_t left = size; left != 0; --left) data_ += static_cast<char>(number >> 8 * (left - 1));
  }
  /// Writes a number with a sign in eight and sixteen bytes, without one in fewer.
  void appendInteger(const Value& value) {
    const std::uint64_t bits = value.unsignedInteger();
    const std::size_t size = sizeOf(bits);
    appendNumber(value.isUnsigned() ? 0x14U : 0x10U + static_cast<unsigned>(std::countr_zero(size)), 1);
    if (value.isUnsigned()) appendNumber(0, 8);
    appendNumber(bits, size);
  }
  void appendMarker(unsigned type, std::size_t count) {
    constexpr std::size_t leastBehindMarker = 0xF;
    appendNumber(type << 4 | std::min(count, leastBehindMarker), 1);
    if (count >= leastBehindMarker) appendInteger(count);
  }
  void appendText(std::size_t index) {
    const std::string_view text = objects_[index].value->text();
    if (!simdjson::validate_utf8(text.data(), text.size())) fail(index, "a string is not valid Unicode");
    const bool isASCII = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    const std::string units = isASCII ? "" : toUTF16BE(text);
    appendMarker(isASCII ? 0x5 : 0x6, isASCII ? text.size() : units.size() / 2);
    data_ += isASCII ? text : units;
  }
  void appendContainer(unsigned type, std::size_t index, std::size_t count, std::size_t references) {
    appendMarker(type, count);
    for (std::size_t i = 0; i != references; ++i) appendNumber(objects_[index].firstChild + i, referenceSize_);
  }

  std::string name_;
  std::string data_ = "bplist00";
  std::vector<Object> objects_;
  std::size_t referenceSize_ = 0;
};

/// A new file next to the one that it will replace.
class Replacement {
 public:
  explicit Replacement(const std::filesystem::path& path) : path_(path.string()), temporary_(path_ + ".XXXXXX") {
    descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail();
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    unlink(temporary_.c_str());
  }

  void write(std::string_view data) const {
    while (!data.empty()) {
      const ssize_t count = ::write(descriptor_, data.data(), data.size());
      if (count >= 0) {
        data.remove_prefix(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        fail();
      }
    }
  }
  void commit() {
    if (fsync(descriptor_) != 0 || rename(temporary_.c_str(), path_.c_str()) != 0) fail();
    close(std::exchange(descriptor_, -1));
  }

 private:
  [[noreturn]] void fail() const {
    const std::error_code problem(errno, std::generic_category());
    throw std::filesystem::filesystem_error("cannot be written", path_, problem);
  }

  std::string path_;
  std::string temporary_;
  int descriptor_ = -1;
};

}  // namespace

std::string binaryPropertyList(const Value& value, std::string_view name) { return BinaryWriter(name).write(value); }

void writePropertyList(const std::filesystem::path& path, const Value& value) {
  const std::string data = binaryPropertyList(value, path.string());
  Replacement file(path);
  file.write(data);
  file.commit();
}

}  // namespace services
