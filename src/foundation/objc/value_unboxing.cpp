// Foundation's objects as Values. What a container leads to becomes one document (value/value_storage.h); objects of
// other classes than those of values stay themselves.
//
// The containers need not be a tree. One that is met again is the same Value, and inside itself it is not entered
// again: whoever searches the Value sees everything that there is. The walk keeps a list of its own, so depth uses no
// stack.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "foundation/objc/boxes.h"
#include "foundation/objc/guarded.h"
#include "platform/exception.h"
#include "platform/reference.h"
#include "platform/value.h"
#include "value/value_storage.h"

namespace foundation {
namespace {

using platform::Strong;
using platform::Value;

/// Values beyond those that the containers hold themselves, which a reader of the Value meets again and again. More of
/// them occur in no data, but would take years to search.
constexpr std::uint64_t mostRepeated = 1'000'000;

/// Room for a number of things: few are on the stack.
template <class T, std::size_t few>
class Room {
 public:
  explicit Room(std::size_t count) : many_(count > few_.size() ? count : 0) {}
  T* data() { return many_.empty() ? few_.data() : many_.data(); }

 private:
  std::array<T, few> few_;  // NOLINT(cppcoreguidelines-pro-type-member-init): only what is filled is read
  std::vector<T> many_;
};
using Objects = Room<id, 32>;

/// The text of a string object, as UTF-8. Half of a pair of surrogates, which is no Unicode text, is left out.
class Text {
 public:
  explicit Text(id string) : count_(foundation_unitCountOf(string)), bytes_(longest * count_) {
    Room<std::uint16_t, 256> units(count_);
    foundation_unitsOf(string, units.data(), count_);
    end_ = write(units.data(), bytes_.data());
  }
  [[nodiscard]] std::string_view view() { return {bytes_.data(), static_cast<std::size_t>(end_ - bytes_.data())}; }

 private:
  static constexpr std::size_t longest = 3;  // bytes for a unit; a pair takes four

  char* write(const std::uint16_t* units, char* out) const {
    unsigned all = 0;
    for (std::size_t i = 0; i < count_; ++i) all |= units[i];
    if (all < 0x80) {
      for (std::size_t i = 0; i < count_; ++i) out[i] = static_cast<char>(units[i]);
      return out + count_;
    }
    for (std::size_t i = 0; i < count_; ++i) {
      char32_t character = units[i];
      if ((character & 0xF800) == 0xD800) {
        const bool isPair = character < 0xDC00 && i + 1 < count_ && (units[i + 1] & 0xFC00) == 0xDC00;
        if (!isPair) continue;
        character = (character << 10) + units[++i] - 0x35FDC00;
      }
      out = append(out, character);
    }
    return out;
  }
  static char* append(char* out, char32_t character) {
    if (character < 0x80) {
      *out++ = static_cast<char>(character);
      return out;
    }
    const unsigned following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    constexpr std::array<unsigned, 4> first{0, 0xC0, 0xE0, 0xF0};
    *out++ = static_cast<char>(first[following] | character >> 6 * following);
    for (unsigned rest = following; rest-- > 0;) *out++ = static_cast<char>(0x80 | (character >> 6 * rest & 0x3F));
    return out;
  }

  std::size_t count_;
  Room<char, longest * 256> bytes_;
  char* end_;
};

std::string_view bytesOf(id data) {
  std::size_t length = 0;
  const auto* bytes = static_cast<const char*>(foundation_bytesOf(data, &length));
  return {bytes, length};
}

class TreeBuilder {
 public:
  Value build(id container, foundation_Kind kind) {
    Value root;
    placeContainer(root, container, kind);
    while (!jobs_.empty()) {
      const Job job = jobs_.back();
      jobs_.pop_back();
      if (job.slot == nullptr) {
        leave(job.place);
      } else {
        enter(job);
      }
    }
    return Value(std::as_const(root));  // a reference to the document of its own
  }
  [[nodiscard]] bool isTooLarge() const { return repeated_ > mostRepeated; }

 private:
  static constexpr std::size_t linearLimit = 16;
  /// A container that is to be entered, or, without a slot, one whose contents are placed.
  struct Job {
    Value* slot;
    id container;
    foundation_Kind kind;
    std::size_t place;  // in visits_
  };
  struct Visit {
    id container;
    Value* slot;
    std::uint64_t size;  // while it is open: how many values were placed before it
    bool isOpen;
  };

  void place(Value& slot, id object) {
    const foundation_Kind kind = foundation_kindOf(object);
    ++placed_;
    switch (kind) {
      case foundation_null: return;
      case foundation_boolean: slot = foundation_integerOf(object) != 0; return;
      case foundation_integer: slot = foundation_integerOf(object); return;
      case foundation_unsigned: slot = static_cast<std::uint64_t>(foundation_integerOf(object)); return;
      case foundation_floating: slot = foundation_floatingOf(object); return;
      case foundation_string: document_.text(slot, Text(object).view()); return;
      case foundation_data: document_.bytes(slot, bytesOf(object)); return;
      case foundation_array:
      case foundation_dictionary: placeContainer(slot, object, kind); return;
      case foundation_other: document_.object(slot, object); return;
    }
    std::abort();
  }
  void placeKey(Value& slot, id key) {
    const foundation_Kind kind = foundation_kindOf(key);
    const bool isContainer = kind == foundation_array || kind == foundation_dictionary;
    if (isContainer) return document_.object(slot, key);
    place(slot, key);
  }
  void placeContainer(Value& slot, id container, foundation_Kind kind) { jobs_.push_back({&slot, container, kind, 0}); }

  void enter(const Job& job) {
    if (const Visit* earlier = visitOf(job.container)) return meetAgain(*job.slot, *earlier);
    visits_.push_back({job.container, job.slot, placed_, true});
    jobs_.push_back({nullptr, nullptr, job.kind, visits_.size() - 1});
    if (job.kind == foundation_array) {
      enterArray(*job.slot, job.container);
    } else {
      enterDictionary(*job.slot, job.container);
    }
  }
  void enterArray(Value& slot, id array) {
    const std::size_t room = foundation_countOf(array);
    Objects elements(room);
    const std::size_t count = foundation_elementsOf(array, elements.data(), room);
    Value* places = document_.list(slot, count);
    for (std::size_t i = 0; i < count; ++i) place(places[i], elements.data()[i]);
  }
  void enterDictionary(Value& slot, id dictionary) {
    const std::size_t room = foundation_countOf(dictionary);
    Objects keys(room);
    Objects values(room);
    const std::size_t count = foundation_entriesOf(dictionary, keys.data(), values.data(), room);
    Value::Entry* entries = document_.dictionary(slot, count);
    for (std::size_t i = 0; i < count; ++i) placeKey(entries[i].key, keys.data()[i]);
    platform::DocumentBuilder::endKeys(slot);
    for (std::size_t i = 0; i < count; ++i) place(entries[i].value, values.data()[i]);
  }
  /// Null for a container that was not visited. From a certain number on the visits have an index.
  const Visit* visitOf(id container) {
    if (visits_.size() <= linearLimit) {
      const auto known = std::ranges::find(visits_, container, &Visit::container);
      return known != visits_.end() ? &*known : nullptr;
    }
    for (; indexed_ < visits_.size(); ++indexed_) index_.emplace(visits_[indexed_].container, indexed_);
    const auto known = index_.find(container);
    return known != index_.end() ? &visits_[known->second] : nullptr;
  }
  void leave(std::size_t place) {
    Visit& visit = visits_[place];
    visit.isOpen = false;
    visit.size = placed_ - visit.size;
  }
  void meetAgain(Value& slot, const Visit& visit) {
    if (visit.isOpen) return document_.object(slot, Strong::adopt(foundation_makeContainerInItself()).get());
    platform::DocumentBuilder::share(slot, *visit.slot);
    placed_ += visit.size;
    repeated_ = std::min(repeated_ + visit.size, mostRepeated + 1);
    placed_ = std::min(placed_, std::uint64_t{1} << 62U);
  }

  std::array<std::byte, 2048> memory_;  // NOLINT(cppcoreguidelines-pro-type-member-init): raw
  std::pmr::monotonic_buffer_resource resource_{memory_.data(), memory_.size()};
  std::pmr::vector<Job> jobs_{&resource_};
  std::pmr::vector<Visit> visits_{&resource_};
  std::unordered_map<id, std::size_t> index_;
  std::size_t indexed_ = 0;
  std::uint64_t placed_ = 0;
  std::uint64_t repeated_ = 0;
  platform::DocumentBuilder document_{1024};
};

/// Nothing for containers that cannot be read.
std::optional<Value> unboxContainer(id container, foundation_Kind kind) {
  TreeBuilder builder;
  Value value = builder.build(container, kind);
  return builder.isTooLarge() ? std::nullopt : std::optional(std::move(value));
}

std::optional<Value> unbox(id object) {
  const foundation_Kind kind = foundation_kindOf(object);
  switch (kind) {
    case foundation_null: return Value();
    case foundation_boolean: return foundation_integerOf(object) != 0;
    case foundation_integer: return foundation_integerOf(object);
    case foundation_unsigned: return static_cast<std::uint64_t>(foundation_integerOf(object));
    case foundation_floating: return foundation_floatingOf(object);
    case foundation_string: return Text(object).view();
    case foundation_data: return Value::bytes(bytesOf(object));
    case foundation_array:
    case foundation_dictionary: return unboxContainer(object, kind);
    case foundation_other: return Value::object(object);
  }
  std::abort();
}

}  // namespace
}  // namespace foundation

namespace platform {

std::optional<Value> unboxed(id object) {
  if (object == nullptr) return std::nullopt;
  std::optional<Value> value;
  foundation::guarded([&] { value = foundation::unbox(object); });  // an object may be of the application's own class
  if (!value) {
    throw Exception(invalidArgumentException, std::string("PellionMessaging: the containers in a ") +
                                                  class_getName(object_getClass(object)) +
                                                  " contain each other so often that they cannot be read; pass a tree");
  }
  return value;
}

std::optional<Value> unboxedIfItHasKey(id object, std::string_view key) {
  thread_local std::pair<std::string, Strong> known;  // the module looks for one key
  if (object == nullptr) return std::nullopt;
  if (known.first != key || !known.second) known = {std::string(key), Strong(boxed(Value(key)))};
  bool mayHaveKey = true;
  foundation::guarded([&] {
    const bool isDictionary = foundation_kindOf(object) == foundation_dictionary;
    mayHaveKey = !isDictionary || foundation_mayHaveKey(object, known.second.get());
  });
  return mayHaveKey ? unboxed(object) : std::nullopt;
}

}  // namespace platform
