#include "host/objc/objc_runtime.h"

namespace host {

// Shared by many objects: no other code is called with one of them held. They refer to no object, so they do not hide
// an object that leaks.
SpinLock& objectLock(const void* object) {
  struct alignas(64) Padded {
    SpinLock lock;
  };
  static constinit std::array<Padded, 64> locks{};
  return locks[(reinterpret_cast<std::uintptr_t>(object) >> 5U) % locks.size()].lock;
}

SideData& sideData(id object) {
  auto& side = headerOf(object).side;
  if (side.load(std::memory_order_relaxed) == nullptr) side.store(new SideData, std::memory_order_release);
  return *side.load(std::memory_order_relaxed);
}

namespace {

// Locks the slot's object and its successor, in the order of their locks. A slot that reads null takes no lock, so the
// null itself shows the slot's owner that the object which wrote it no longer uses the slot.
class WeakSlotLock {
 public:
  WeakSlotLock(id* slot, id next) : slot_(*slot) {
    for (;;) {
      previous_ = slot_.load(std::memory_order_acquire);
      SpinLock* low = previous_ == nullptr ? nullptr : &objectLock(previous_);
      SpinLock* high = next == nullptr ? nullptr : &objectLock(next);
      if (low == high) high = nullptr;
      if (low != nullptr && high != nullptr && std::less<>()(high, low)) std::swap(low, high);
      if (low != nullptr) first_ = std::unique_lock(*low);
      if (high != nullptr) second_ = std::unique_lock(*high);
      if (slot_.load(std::memory_order_relaxed) == previous_) return;
      if (second_) second_.unlock();
      if (first_) first_.unlock();
    }
  }
  [[nodiscard]] id previous() const { return previous_; }
  void set(id object) { slot_.store(object, std::memory_order_release); }

 private:
  std::atomic_ref<id> slot_;
  id previous_ = nullptr;
  std::unique_lock<SpinLock> first_;
  std::unique_lock<SpinLock> second_;
};

}  // namespace
}  // namespace host

id objc_initWeak(id* slot, id object) {
  std::atomic_ref(*slot).store(nullptr, std::memory_order_relaxed);
  return objc_storeWeak(slot, object);
}

// No new reference to an object that is being deallocated is possible: the slot reads null.
id objc_storeWeak(id* slot, id object) {
  const bool alive = object != nullptr && host::tryRetain(object);
  {
    host::WeakSlotLock lock(slot, alive ? object : nullptr);
    if (lock.previous() != nullptr) host::sideData(lock.previous()).weakSlots.erase(slot);
    if (alive) host::sideData(object).weakSlots.insert(slot);
    lock.set(alive ? object : nullptr);
  }
  if (!alive) return nullptr;
  objc_release(object);
  return object;
}

id objc_loadWeakRetained(id* slot) {
  const std::atomic_ref<id> place(*slot);
  while (const id object = place.load(std::memory_order_acquire)) {
    const std::lock_guard lock(host::objectLock(object));
    if (place.load(std::memory_order_relaxed) == object) return host::tryRetain(object) ? object : nullptr;
  }
  return nullptr;
}

void objc_destroyWeak(id* slot) { objc_storeWeak(slot, nullptr); }
