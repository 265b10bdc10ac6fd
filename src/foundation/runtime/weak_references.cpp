// Lacking in GCC's libobjc: zeroing weak references. A slot must read null before the object's first -dealloc runs, so
// the end of an object is caught in -release, which is replaced in the two root classes. Not needed where the runtime
// counts references (libobjc2, a phone). Classes whose -release does not call a root class's are not covered: a slot
// that refers to their objects is cleared when -dealloc reaches the root class, and never for constants.
//
// An object with no reference beyond the last belongs to the thread that releases it, unless a weak slot refers to it.
// So the filter is asked only then, and only loading a slot and clearing it need the stripe's lock.

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

#include "foundation/objc/required_repairs.h"
#include "foundation/runtime/objects.h"
#include "foundation/runtime/side_table.h"
#include "platform/programming_error.h"

extern "C" {

void NSIncrementExtraRefCount(id object);
std::size_t NSExtraRefCount(id object);  // Foundation's NSUInteger
void NSDeallocateObject(id object);

}  // extern "C"

namespace foundation {
namespace {

/// GNUstep's count of the references beyond the first, directly in front of the object.
std::atomic_ref<std::int64_t> extraReferences(id object) {
  return std::atomic_ref(reinterpret_cast<std::int64_t*>(object)[-1]);
}

bool releaseIfShared(id object) {
  auto count = extraReferences(object);
  std::int64_t seen = count.load(std::memory_order_acquire);
  while (seen > 0) {
    if (count.compare_exchange_weak(seen, seen - 1, std::memory_order_acq_rel, std::memory_order_acquire)) return true;
  }
  return false;
}

/// Returns false when another thread has got a reference from a weak slot meanwhile.
bool endWeakReferences(id object) {
  Stripe& stripe = SideTable::stripeOf(object);
  const std::lock_guard lock(stripe.mutex);
  if (releaseIfShared(object)) return false;
  if (SideData* data = SideTable::find(stripe, object)) clearWeakSlots(*data);
  return true;
}

/// The objects that this thread deallocates, the innermost first: -dealloc releases others.
struct Ending {
  explicit Ending(id endingObject) : object(endingObject), outer(std::exchange(innermost, this)) {}
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;
  ~Ending() { innermost = outer; }

  static bool has(id object) {
    const Ending* each = innermost;
    while (each != nullptr && each->object != object) each = each->outer;
    return each != nullptr;
  }

  id object;
  Ending* outer;
  static inline thread_local Ending* innermost = nullptr;
};

void release(id self, SEL /*selector*/) {
  if (releaseIfShared(self)) return;
  if (SideTable::mayHaveData(self) && !endWeakReferences(self)) return;
  const Ending ending(self);
  foundation_sendDealloc(self);
}

/// Locks the stripes of two objects, either of which may be null.
class StripesLock {
 public:
  StripesLock(id first, id second) {
    first_ = first != nullptr ? &SideTable::stripeOf(first) : nullptr;
    second_ = second != nullptr ? &SideTable::stripeOf(second) : nullptr;
    if (second_ < first_) std::swap(first_, second_);
    if (first_ != nullptr) first_->mutex.lock();
    if (second_ != nullptr) second_->mutex.lock();
  }
  StripesLock(const StripesLock&) = delete;
  StripesLock& operator=(const StripesLock&) = delete;
  ~StripesLock() {
    if (second_ != nullptr) second_->mutex.unlock();
    if (first_ != nullptr) first_->mutex.unlock();
  }

 private:
  Stripe* first_;
  Stripe* second_;
};

void forgetSlot(id object, id* slot) {
  Stripe& stripe = SideTable::stripeOf(object);
  SideData* data = SideTable::find(stripe, object);
  if (data == nullptr) return;
  const auto found = std::find(data->weakSlots.begin(), data->weakSlots.end(), slot);
  if (found == data->weakSlots.end()) return;
  *found = data->weakSlots.back();
  data->weakSlots.pop_back();
  SideTable::removeIfEmpty(stripe, object);
}

using Dealloc = void (*)(id, SEL);

/// Ends what -release has not seen: objects that end by other means, attached objects.
template <Dealloc* inherited>
void dealloc(id self, SEL selector) {
  foundation_endSideData(self);
  (*inherited)(self, selector);
}

Dealloc objectDealloc;
Dealloc proxyDealloc;

template <Dealloc* inherited>
void watchRoot(const char* name) {
  const Class root = objc_getClass(name);
  const Method end = class_getInstanceMethod(root, sel_registerName("dealloc"));
  *inherited = reinterpret_cast<Dealloc>(method_getImplementation(end));
  method_setImplementation(end, reinterpret_cast<IMP>(&dealloc<inherited>));
  method_setImplementation(class_getInstanceMethod(root, sel_registerName("release")), reinterpret_cast<IMP>(&release));
}

/// Where Foundation keeps the count is not documented, so it is checked with one object.
void checkCount() {
  const id object = foundation_allocate(objc_getClass("NSObject"), 0);
  NSIncrementExtraRefCount(object);
  NSIncrementExtraRefCount(object);
  if (extraReferences(object) != 2 || NSExtraRefCount(object) != 2) {
    platform::programmingError("this Foundation keeps reference counts elsewhere than GNUstep Base 1.28 does");
  }
  NSDeallocateObject(object);
}

}  // namespace

void clearWeakSlots(SideData& data) {
  // A thread that reads null may end the slot without a lock.
  for (id* slot : data.weakSlots) std::atomic_ref(*slot).store(nullptr, std::memory_order_release);
  data.weakSlots.clear();
}

void watchEndsOfObjects() {
  checkCount();
  watchRoot<&objectDealloc>("NSObject");
  watchRoot<&proxyDealloc>("NSProxy");
}

}  // namespace foundation

void foundation_endSideData(id object) {
  using namespace foundation;
  if (!SideTable::mayHaveData(object)) return;
  SideData ended;
  {
    Stripe& stripe = SideTable::stripeOf(object);
    const std::lock_guard lock(stripe.mutex);
    ended = SideTable::take(stripe, object);
    clearWeakSlots(ended);
  }
  for (const Attachment& each : ended.attachments) {
    if (each.policy != OBJC_ASSOCIATION_ASSIGN) objc_release(each.value);
  }
}

extern "C" {

id objc_storeWeak(id* slot, id object) {
  using namespace foundation;
  foundation_requireRepairs();  // without them, no slot would be cleared
  if (Ending::has(object)) object = nullptr;
  const std::atomic_ref<id> place(*slot);
  for (;;) {
    const id former = place.load(std::memory_order_acquire);
    const StripesLock lock(former, object);
    if (place.load(std::memory_order_relaxed) != former) continue;  // cleared, or stored by another thread
    if (former != nullptr) forgetSlot(former, slot);
    if (object != nullptr) SideTable::findOrMake(SideTable::stripeOf(object), object).weakSlots.push_back(slot);
    place.store(object, std::memory_order_relaxed);
    return object;
  }
}

id objc_initWeak(id* slot, id object) {
  *slot = nullptr;
  return objc_storeWeak(slot, object);
}

id objc_loadWeakRetained(id* slot) {
  const std::atomic_ref<id> place(*slot);
  for (;;) {
    const id object = place.load(std::memory_order_acquire);
    if (object == nullptr) return nullptr;
    const std::lock_guard lock(foundation::SideTable::stripeOf(object).mutex);
    if (place.load(std::memory_order_relaxed) == object) return objc_retain(object);
  }
}

void objc_destroyWeak(id* slot) { objc_storeWeak(slot, nullptr); }

}  // extern "C"
