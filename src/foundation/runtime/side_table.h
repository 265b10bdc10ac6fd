#pragma once

// What this folder remembers of objects beside their own memory: the weak slots that refer to them and what is attached
// to them. Few objects have any, so an object that ends first asks a small filter, without a lock. The tables are
// striped by address.

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "platform/objc.h"

namespace foundation {

struct Attachment {
  const void* key;
  id value;
  objc_AssociationPolicy policy;
};
struct SideData {
  std::vector<id*> weakSlots;
  std::vector<Attachment> attachments;
};

/// Recursive, because retaining an object with the lock held may run the application's code.
struct alignas(64) Stripe {
  std::recursive_mutex mutex;
  std::unordered_map<id, SideData> objects;
};

/// Counts the objects with side data by a hash of their address.
class SideTable {
 public:
  static Stripe& stripeOf(id object);
  /// False: there is none. The caller holds the object's last reference, or its stripe.
  static bool mayHaveData(id object) {
    return filter_[hash(object) % filter_.size()].load(std::memory_order_acquire) != 0;
  }

  // With the object's stripe held.
  static SideData* find(Stripe& stripe, id object);
  static SideData& findOrMake(Stripe& stripe, id object);
  /// Removes the object's data and returns it.
  static SideData take(Stripe& stripe, id object);
  static void removeIfEmpty(Stripe& stripe, id object);

 private:
  static std::size_t hash(id object) {
    return (reinterpret_cast<std::uintptr_t>(object) >> 4U) * 0x9E3779B97F4A7C15U >> 40U;
  }

  static constinit inline std::array<std::atomic<std::uint32_t>, 8192> filter_{};
};

/// With the object's stripe held: all slots that refer to the object read null from now on.
void clearWeakSlots(SideData& data);

/// Makes ends of objects known to the tables. Once, before the first object gets side data.
void watchEndsOfObjects();

}  // namespace foundation
