#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "host/property_list.h"
#include "host/property_list_check.h"

namespace host {
namespace {

// What a file may grow to when every reference becomes an object of its own, at about what libplist spends on each.
constexpr std::uint64_t largestTree = 16 * largestPropertyList;
constexpr std::uint64_t nodeSize = 128;

constexpr std::size_t trailerSize = 32;

class BinaryCheck {
 public:
  BinaryCheck(std::string_view data, std::string_view name) : data_(data), name_(name) {}

  void run() {
    readTrailer();
    trees_.resize(objectCount_);
    enter(topObject_);
    while (!open_.empty()) {
      Container& container = open_.back();
      if (container.next == container.count) {
        leave();
      } else {
        const std::uint64_t child = number(container.references + container.next * referenceSize_, referenceSize_);
        if (container.next++ < container.keyCount) checkKey(child);
        visit(child);
      }
    }
  }

 private:
  struct Object {
    int type;             // the marker's upper half
    std::uint64_t count;  // bytes of content; of a container, its references
    std::uint64_t content;
  };
  /// What an object is with all that it holds, each time it is referred to.
  struct Tree {
    enum class State { unseen, entered, known } state = State::unseen;
    std::uint32_t height = 1;
    std::uint64_t weight = nodeSize;
  };
  struct Container {
    std::uint64_t object;
    std::uint64_t references;  // where they stand
    std::uint64_t count;
    std::uint64_t keyCount;  // so many of them, the first, are keys
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

  void readTrailer() {
    if (data_.size() < trailerSize + 8) fail("it is cut off");
    end_ = data_.size() - trailerSize;
    offsetSize_ = number(end_ + 6, 1);
    referenceSize_ = number(end_ + 7, 1);
    objectCount_ = number(end_ + 8, 8);
    topObject_ = number(end_ + 16, 8);
    table_ = number(end_ + 24, 8);
    const auto isSize = [](std::uint64_t size) { return size >= 1 && size <= 8; };
    if (!isSize(offsetSize_) || !isSize(referenceSize_) || table_ > end_ ||
        objectCount_ > (end_ - table_) / offsetSize_ || topObject_ >= objectCount_) {
      fail("its trailer does not fit its size");
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
      if (sizeMarker >> 4 != 1 || size > 8 || size > end_ - at) fail("a length is no number");
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

  /// libplist ends the program over a key with a zero in it.
  void checkKey(std::uint64_t index) const {
    if (index >= objectCount_) fail("a reference leads nowhere");
    const Object key = objectAt(index);
    if (key.type != 0x5 && key.type != 0x6) fail("a key is no text");
    const std::uint64_t width = key.type == 0x6 ? 2 : 1;
    for (std::uint64_t at = 0; at != key.count; at += width) {
      if (number(key.content + at, width) == 0) fail("a key holds a zero");
    }
  }

  void visit(std::uint64_t index) {
    if (index >= objectCount_) fail("a reference leads nowhere");
    if (trees_[index].state == Tree::State::entered) fail("a container holds itself");
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
      tree.state = Tree::State::entered;
      open_.push_back({index, object.content, object.count, object.type == 0xD ? object.count / 2 : 0, 0});
    } else {
      tree.state = Tree::State::known;
      tree.weight += object.count;
      addToParent(tree);
    }
  }

  void leave() {
    Tree& tree = trees_[open_.back().object];
    open_.pop_back();
    tree.state = Tree::State::known;
    addToParent(tree);
  }

  void addToParent(const Tree& tree) {
    if (open_.empty()) return;
    Tree& parent = trees_[open_.back().object];
    parent.weight += tree.weight;
    parent.height = std::max(parent.height, tree.height + 1);
    if (parent.weight > largestTree) fail("its references repeat too much of it");
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
  std::vector<Tree> trees_;  // by object
  std::vector<Container> open_;
};

}  // namespace

void checkBinaryPropertyList(std::string_view data, std::string_view name) { BinaryCheck(data, name).run(); }

}  // namespace host
