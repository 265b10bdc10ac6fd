#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace foundation {

/// A memory of `count` entries in which each key has one place: a later key of the same place takes it over. An entry
/// says for which key it is. It needs a thread of its own, or entries that threads may share.
template <class Entry, std::size_t count>
class DirectMapped {
 public:
  static_assert(std::has_single_bit(count));
  /// The place of a key, an address or a mixture of some. Entries are zero at first.
  Entry& placeOf(std::uintptr_t key) { return places_[key * 0x9E3779B97F4A7C15U >> (64 - std::countr_zero(count))]; }
  Entry& placeOf(const void* key) { return placeOf(reinterpret_cast<std::uintptr_t>(key)); }

 private:
  std::array<Entry, count> places_{};
};

}  // namespace foundation
