#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <string_view>

#include "platform/value.h"

namespace platform {

/// Places the texts and containers of Values in memory.
///
/// The owner word is directly before the data that a Value points to. It says how references are counted:
///   0         not at all: the data is static (every empty text and container)
///   2n + 1    the data is a node of its own, which n Values refer to
///   even      the address of the Document that contains the data and much other data
/// A hash index follows the entries of a dictionary that is not small.
class ValueStorage {
 public:
  using Kind = Value::Kind;
  using Entry = Value::Entry;
  using OwnerWord = std::atomic<std::uintptr_t>;
  class Document;

  static Value makeText(Kind kind, std::string_view text);
  static Value makeList(std::span<const Value> elements);
  static Value makeDictionary(std::span<const Entry> entries);
  static Value makeObject(id object);

  static void retain(const void* data) noexcept;
  static void release(Kind kind, const void* data) noexcept;
  static const Value* find(std::span<const Entry> entries, std::string_view key) noexcept;
  static const Value* find(std::span<const Entry> entries, const Value& key) noexcept;

 private:
  friend class DocumentBuilder;
  struct Node;

  static OwnerWord& ownerOf(const void* data) noexcept {
    return *reinterpret_cast<OwnerWord*>(static_cast<char*>(const_cast<void*>(data)) - sizeof(OwnerWord));
  }
  static Node* makeNode(Kind kind, std::size_t count, std::size_t size);
  static bool dropReference(const void* data) noexcept;
  static void freeNode(Node* dead) noexcept;
  static void placeIn(Value& slot, Kind kind, std::size_t count, const void* data, bool borrowed) noexcept {
    slot.kind_ = kind;
    slot.borrowed_ = borrowed;
    slot.count_ = static_cast<std::uint32_t>(count);
    slot.payload_.data = data;
  }
  static void placeEmpty(Value& slot, Kind kind) noexcept;
  static std::size_t dictionarySize(std::size_t count) noexcept;
  static std::size_t settle(Entry* entries, std::size_t count) noexcept;
  static void settleDictionary(Value& slot) noexcept;
  static void indexDictionary(Value& slot) noexcept;
};

/// Builds a decoded tree in a few blocks of memory with one reference count. Its inner Values are borrowed: they are
/// not counted, so the tree is freed without a walk. A copy of an inner Value keeps the whole document alive.
///
/// Every slot comes from list(), dictionary() or the caller, and is still null.
class DocumentBuilder {
 public:
  /// `sizeHint`: the probable size of the whole tree in bytes of memory.
  explicit DocumentBuilder(std::size_t sizeHint);
  DocumentBuilder(const DocumentBuilder&) = delete;
  DocumentBuilder& operator=(const DocumentBuilder&) = delete;
  ~DocumentBuilder();

  void text(Value& slot, std::string_view text) { copy(slot, Value::Kind::string, text); }
  void bytes(Value& slot, std::string_view bytes) { copy(slot, Value::Kind::bytes, bytes); }
  /// Retains the object, which is not null, for as long as the document lives.
  void object(Value& slot, id object);
  /// Returns the null elements; the caller fills them.
  Value* list(Value& slot, std::size_t count);
  /// Returns the null entries. The caller fills them with string keys and values, then calls endDictionary().
  Value::Entry* dictionary(Value& slot, std::size_t count);
  /// Gives a repeated key its first place and its last value, and makes the index.
  static void endDictionary(Value& slot) noexcept { ValueStorage::settleDictionary(slot); }
  /// The same for keys that the caller knows to be different. No entry moves, so the values may be filled afterwards.
  static void endKeys(Value& slot) noexcept { ValueStorage::indexDictionary(slot); }
  /// Lets the slot refer to the text or container that another slot of this document holds.
  static void share(Value& slot, const Value& other) noexcept {
    ValueStorage::placeIn(slot, other.kind_, other.count_, other.payload_.data, true);
  }

 private:
  void copy(Value& slot, Value::Kind kind, std::string_view content) {
    if (content.empty()) {
      ValueStorage::placeEmpty(slot, kind);
      return;
    }
    void* data = allocate(content.size());
    std::memcpy(data, content.data(), content.size());
    ValueStorage::placeIn(slot, kind, content.size(), data, true);
  }
  /// Returns room for `size` bytes of data, with the owner word before it.
  void* allocate(std::size_t size) {
    size = (sizeof(ValueStorage::OwnerWord) + size + 7) & ~std::size_t{7};
    if (size > left_) addBlock(size);
    char* memory = free_;
    free_ += size;
    left_ -= size;
    new (memory) ValueStorage::OwnerWord(reinterpret_cast<std::uintptr_t>(document_));
    return memory + sizeof(ValueStorage::OwnerWord);
  }
  void addBlock(std::size_t size);

  ValueStorage::Document* document_;
  char* free_;  // in the newest block
  std::size_t left_;
};

/// Hashes with a seed that is random for each run of the program, so that no input can prepare keys that collide.
std::uint64_t hashText(std::string_view text) noexcept;
std::uint64_t mixHash(std::uint64_t left, std::uint64_t right) noexcept;

}  // namespace platform
