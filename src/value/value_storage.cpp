#include "value/value_storage.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/exception.h"

namespace platform {
namespace {

using Entry = Value::Entry;

constexpr std::size_t linearLimit = 8;  // up to this size, comparing every key is as fast as hashing one

struct alignas(8) EmptyData {
  ValueStorage::OwnerWord owner{0};
  char data[8] = {};
};
EmptyData emptyData;

void* allocateOrThrow(std::size_t size) {
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

bool isText(const Value& value, std::string_view text) noexcept {
  return value.kind() == Value::Kind::string && value.text() == text;
}

bool areEqualKeys(const Value& left, const Value& right) noexcept {
  return left.kind() == Value::Kind::string ? isText(right, left.text()) : left == right;
}

/// The hash index, with open addressing. A slot holds the place of an entry plus one; 0 means empty.
struct Index {
  std::uint32_t* slots;
  std::size_t mask;

  static std::size_t slotCount(std::size_t count) { return std::bit_ceil(2 * count); }
  static Index of(const Entry* entries, std::size_t count) {
    return {reinterpret_cast<std::uint32_t*>(const_cast<Entry*>(entries + count)), slotCount(count) - 1};
  }
  /// Returns the slot whose entry `matches`, or the empty slot where that entry belongs.
  template <class Matches>
  std::uint32_t& probe(const Entry* entries, std::uint64_t hash, const Matches& matches) const {
    for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
      if (slots[at] == 0 || matches(entries[slots[at] - 1].key)) return slots[at];
    }
  }
};

template <class Matches, class Hash>
const Value* findMatching(std::span<const Entry> entries, const Matches& matches, const Hash& hash) noexcept {
  if (entries.size() <= linearLimit) {
    for (const Entry& entry : entries) {
      if (matches(entry.key)) return &entry.value;
    }
    return nullptr;
  }
  const std::uint32_t place = Index::of(entries.data(), entries.size()).probe(entries.data(), hash(), matches);
  return place == 0 ? nullptr : &entries[place - 1].value;
}

}  // namespace

struct ValueStorage::Node {
  std::uint32_t count;
  Kind kind;
  OwnerWord owner;  // of a dead node: the next one to free

  [[nodiscard]] void* data() { return this + 1; }
  static Node* of(const void* data) { return static_cast<Node*>(const_cast<void*>(data)) - 1; }
};

class ValueStorage::Document {
 public:
  struct Block {
    Block* next;
  };
  struct Object {
    Object* next;
    id object;
  };
  std::atomic<std::size_t> count{1};
  Block* blocks = nullptr;    // after the first block, which directly follows this object
  Object* objects = nullptr;  // in the blocks

  void release() noexcept {
    if (count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    for (const Object* each = objects; each != nullptr; each = each->next) objc_release(each->object);
    while (blocks != nullptr) std::free(std::exchange(blocks, blocks->next));
    std::free(this);
  }
};

ValueStorage::Node* ValueStorage::makeNode(Kind kind, std::size_t count, std::size_t size) {
  if (count > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("a Value of 4 GiB or more");
  return new (allocateOrThrow(sizeof(Node) + size)) Node{static_cast<std::uint32_t>(count), kind, OwnerWord{3}};
}

void ValueStorage::placeEmpty(Value& slot, Kind kind) noexcept { placeIn(slot, kind, 0, emptyData.data, false); }

Value ValueStorage::makeText(Kind kind, std::string_view text) {
  Value value;
  placeEmpty(value, kind);
  if (text.empty()) return value;
  void* data = makeNode(kind, text.size(), text.size())->data();
  std::memcpy(data, text.data(), text.size());
  placeIn(value, kind, text.size(), data, false);
  return value;
}

Value ValueStorage::makeList(std::span<const Value> elements) {
  Value value;
  placeEmpty(value, Kind::list);
  if (elements.empty()) return value;
  void* data = makeNode(Kind::list, elements.size(), elements.size_bytes())->data();
  std::uninitialized_copy(elements.begin(), elements.end(), static_cast<Value*>(data));
  placeIn(value, Kind::list, elements.size(), data, false);
  return value;
}

Value ValueStorage::makeDictionary(std::span<const Entry> entries) {
  for (const Entry& entry : entries) {
    // Containers as keys would give every look-up an unbounded comparison. No data that reaches the module has them.
    if (entry.key.ifList() != nullptr || entry.key.ifDictionary() != nullptr) {
      throw Exception(invalidArgumentException,
                      std::string("a dictionary's key cannot be a container (") + entry.key.className() + ")");
    }
  }
  Value value;
  placeEmpty(value, Kind::dictionary);
  if (entries.empty()) return value;
  Node* node = makeNode(Kind::dictionary, entries.size(), dictionarySize(entries.size()));
  auto* copies = static_cast<Entry*>(node->data());
  std::uninitialized_copy(entries.begin(), entries.end(), copies);
  const std::size_t count = settle(copies, entries.size());
  // The index may now directly follow the last remaining entry; the repeated entries were destroyed before.
  node->count = static_cast<std::uint32_t>(count);
  placeIn(value, Kind::dictionary, count, copies, false);
  return value;
}

Value ValueStorage::makeObject(id object) {
  Value value;
  value.kind_ = Kind::object;
  value.payload_.object = objc_retain(object);
  return value;
}

void ValueStorage::retain(const void* data) noexcept {
  OwnerWord& owner = ownerOf(data);
  const std::uintptr_t word = owner.load(std::memory_order_relaxed);
  if ((word & 1) != 0) {
    owner.fetch_add(2, std::memory_order_relaxed);
  } else if (word != 0) {
    reinterpret_cast<Document*>(word)->count.fetch_add(1, std::memory_order_relaxed);
  }
}

/// Returns true when that was the last reference to a node; the caller must then free the node.
bool ValueStorage::dropReference(const void* data) noexcept {
  OwnerWord& owner = ownerOf(data);
  const std::uintptr_t word = owner.load(std::memory_order_relaxed);
  if ((word & 1) != 0) return owner.fetch_sub(2, std::memory_order_acq_rel) == 3;
  if (word != 0) reinterpret_cast<Document*>(word)->release();
  return false;
}

void ValueStorage::release(Kind kind, const void* data) noexcept {
  if (!dropReference(data)) return;
  if (kind == Kind::list || kind == Kind::dictionary) {
    freeNode(Node::of(data));
  } else {
    std::free(Node::of(data));
  }
}

/// Frees a container and everything that only it held, at any depth. Dead containers are linked in a chain through
/// their own owner words.
void ValueStorage::freeNode(Node* dead) noexcept {
  dead->owner.store(0, std::memory_order_relaxed);
  while (dead != nullptr) {
    Node* node = dead;
    dead = reinterpret_cast<Node*>(node->owner.load(std::memory_order_relaxed));
    const std::size_t valueCount = std::size_t{node->count} * (node->kind == Kind::dictionary ? 2 : 1);
    for (const Value& value : std::span(static_cast<const Value*>(node->data()), valueCount)) {
      if (!value.isShared()) continue;
      const bool isContainer = value.kind_ == Kind::list || value.kind_ == Kind::dictionary;
      if (!isContainer) {
        value.~Value();
      } else if (dropReference(value.payload_.data)) {
        Node* inner = Node::of(value.payload_.data);
        inner->owner.store(reinterpret_cast<std::uintptr_t>(dead), std::memory_order_relaxed);
        dead = inner;
      }
    }
    std::free(node);
  }
}

std::size_t ValueStorage::dictionarySize(std::size_t count) noexcept {
  return count * sizeof(Entry) + (count > linearLimit ? Index::slotCount(count) * sizeof(std::uint32_t) : 0);
}

/// Removes repeated keys and makes the index. Returns how many entries remain. The memory after the entries has the
/// size that dictionarySize(count) gives.
std::size_t ValueStorage::settle(Entry* entries, std::size_t count) noexcept {
  const bool isIndexed = count > linearLimit;
  const Index index = Index::of(entries, count);
  if (isIndexed) std::memset(index.slots, 0, (index.mask + 1) * sizeof(std::uint32_t));
  std::size_t kept = 0;
  for (std::size_t i = 0; i != count; ++i) {
    Entry* earlier = nullptr;
    std::uint32_t* slot = nullptr;
    const auto matches = [&](const Value& key) { return areEqualKeys(entries[i].key, key); };
    if (isIndexed) {
      slot = &index.probe(entries, entries[i].key.hash(), matches);
      if (*slot != 0) earlier = entries + (*slot - 1);
    } else {
      for (std::size_t j = 0; j != kept && earlier == nullptr; ++j) {
        if (matches(entries[j].key)) earlier = entries + j;
      }
    }
    if (earlier != nullptr) {
      swap(earlier->value, entries[i].value);
      continue;
    }
    if (kept != i) {
      swap(entries[kept].key, entries[i].key);
      swap(entries[kept].value, entries[i].value);
    }
    ++kept;
    if (slot != nullptr) *slot = static_cast<std::uint32_t>(kept);
  }
  if (kept == count) return count;
  std::destroy(entries + kept, entries + count);
  return settle(entries, kept);
}

void ValueStorage::settleDictionary(Value& slot) noexcept {
  if (slot.count_ == 0) return;
  auto* entries = static_cast<Entry*>(const_cast<void*>(slot.payload_.data));
  slot.count_ = static_cast<std::uint32_t>(settle(entries, slot.count_));
}

/// As settle(), for keys that are all different.
void ValueStorage::indexDictionary(Value& slot) noexcept {
  if (slot.count_ <= linearLimit) return;
  const auto* entries = static_cast<const Entry*>(slot.payload_.data);
  const Index index = Index::of(entries, slot.count_);
  std::memset(index.slots, 0, (index.mask + 1) * sizeof(std::uint32_t));
  for (std::uint32_t i = 0; i != slot.count_; ++i) {
    index.probe(entries, entries[i].key.hash(), [](const Value&) { return false; }) = i + 1;
  }
}

const Value* ValueStorage::find(std::span<const Entry> entries, std::string_view key) noexcept {
  return findMatching(
      entries, [key](const Value& other) { return isText(other, key); }, [key] { return hashText(key); });
}

const Value* ValueStorage::find(std::span<const Entry> entries, const Value& key) noexcept {
  return findMatching(
      entries, [&](const Value& other) { return areEqualKeys(key, other); }, [&] { return key.hash(); });
}

DocumentBuilder::DocumentBuilder(std::size_t sizeHint)
    : document_(new (allocateOrThrow(sizeof(ValueStorage::Document) + sizeHint)) ValueStorage::Document),
      free_(reinterpret_cast<char*>(document_ + 1)),
      left_(sizeHint) {}
DocumentBuilder::~DocumentBuilder() { document_->release(); }

void DocumentBuilder::addBlock(std::size_t size) {
  using Block = ValueStorage::Document::Block;
  size = std::max(size, std::size_t{64} << 10);
  document_->blocks = new (allocateOrThrow(sizeof(Block) + size)) Block{document_->blocks};
  free_ = reinterpret_cast<char*>(document_->blocks + 1);
  left_ = size;
}

void DocumentBuilder::object(Value& slot, id object) {
  using Object = ValueStorage::Document::Object;
  document_->objects = new (allocate(sizeof(Object))) Object{document_->objects, objc_retain(object)};
  slot.kind_ = Value::Kind::object;
  slot.borrowed_ = true;
  slot.payload_.object = object;
}

Value* DocumentBuilder::list(Value& slot, std::size_t count) {
  ValueStorage::placeEmpty(slot, Value::Kind::list);
  if (count == 0) return nullptr;
  auto* elements = static_cast<Value*>(allocate(count * sizeof(Value)));
  std::uninitialized_value_construct_n(elements, count);
  ValueStorage::placeIn(slot, Value::Kind::list, count, elements, true);
  return elements;
}

Entry* DocumentBuilder::dictionary(Value& slot, std::size_t count) {
  ValueStorage::placeEmpty(slot, Value::Kind::dictionary);
  if (count == 0) return nullptr;
  auto* entries = static_cast<Entry*>(allocate(ValueStorage::dictionarySize(count)));
  std::uninitialized_value_construct_n(entries, count);
  ValueStorage::placeIn(slot, Value::Kind::dictionary, count, entries, true);
  return entries;
}

std::uint64_t mixHash(std::uint64_t left, std::uint64_t right) noexcept {
  __extension__ using Wide = unsigned __int128;
  static const std::array<std::uint64_t, 2> seeds = [] {
    std::random_device random;
    return std::array{std::uint64_t{random()} << 32 | random(), std::uint64_t{random()} << 32 | random()};
  }();
  const Wide product = static_cast<Wide>(left ^ seeds[0]) * (right ^ seeds[1]);
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

std::uint64_t hashText(std::string_view text) noexcept {
  std::uint64_t hash = text.size();
  while (!text.empty()) {
    std::uint64_t words[2] = {};
    const std::size_t length = std::min(text.size(), sizeof(words));
    std::memcpy(words, text.data(), length);
    hash = mixHash(words[0] ^ hash, words[1] + hash);
    text.remove_prefix(length);
  }
  return hash;
}

}  // namespace platform
