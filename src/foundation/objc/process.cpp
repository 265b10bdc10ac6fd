#include "platform/process.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "foundation/objc/direct_mapped.h"
#include "foundation/objc/required_repairs.h"

// Here a program is one process, which ends without teardown.

namespace foundation {
namespace {

struct Slot {
  const void* key;
  std::once_flag once;
  std::atomic<void*> object{nullptr};
};

class Slots {
 public:
  Slots() { foundation_requireRepairs(); }

  // Lock-free and short for a slot that was used before: every call of the module looks up its shared instance.
  void* find(const void* key, void* (*make)()) {
    std::atomic<Slot*>& place = recent_.placeOf(key);
    Slot* slot = place.load(std::memory_order_acquire);
    if (slot == nullptr || slot->key != key) {
      slot = &slotOf(key);
      place.store(slot, std::memory_order_release);
    }
    if (void* object = slot->object.load(std::memory_order_acquire)) return object;
    std::call_once(slot->once, [&] { slot->object.store(make(), std::memory_order_release); });
    return slot->object.load(std::memory_order_acquire);
  }

 private:
  Slot& slotOf(const void* key) {
    const std::lock_guard lock(mutex_);
    std::unique_ptr<Slot>& slot = all_[key];
    if (slot == nullptr) {
      slot = std::make_unique<Slot>();
      slot->key = key;
    }
    return *slot;
  }

  DirectMapped<std::atomic<Slot*>, 256> recent_;
  std::mutex mutex_;
  std::unordered_map<const void*, std::unique_ptr<Slot>> all_;
};

}  // namespace
}  // namespace foundation

void* platform::Process::slot(const void* key, void* (*make)(), void (* /*destroy*/)(void*), bool /*outlivesObjects*/) {
  static auto& slots = *new foundation::Slots;
  return slots.find(key, make);
}
