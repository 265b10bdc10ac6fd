// Lacking in GCC's libobjc: objects attached to other objects. They are kept in the side table and let go in the root
// classes' -dealloc (weak_references.cpp replaces it). Not needed on libobjc2 and on a phone.

#include <algorithm>
#include <mutex>

#include "foundation/objc/required_repairs.h"
#include "foundation/runtime/objects.h"
#include "foundation/runtime/side_table.h"

namespace {

id kept(id value, objc_AssociationPolicy policy) {
  switch (policy) {
    case OBJC_ASSOCIATION_ASSIGN: return value;
    case OBJC_ASSOCIATION_COPY:
    case OBJC_ASSOCIATION_COPY_NONATOMIC: return foundation_copy(value);
    default: return objc_retain(value);
  }
}

}  // namespace

extern "C" {

void objc_setAssociatedObject(id object, const void* key, id value, objc_AssociationPolicy policy) {
  using namespace foundation;
  if (object == nullptr) return;
  foundation_requireRepairs();  // without them, what is attached would outlive the object
  const Attachment next{key, kept(value, policy), policy};
  Attachment former{key, nullptr, OBJC_ASSOCIATION_ASSIGN};
  {
    Stripe& stripe = SideTable::stripeOf(object);
    const std::lock_guard lock(stripe.mutex);
    std::vector<Attachment>& all = SideTable::findOrMake(stripe, object).attachments;
    const auto place = std::find_if(all.begin(), all.end(), [key](const auto& each) { return each.key == key; });
    if (place != all.end()) {
      former = *place;
      all.erase(place);
    }
    if (value != nullptr) all.push_back(next);
    SideTable::removeIfEmpty(stripe, object);
  }
  if (former.policy != OBJC_ASSOCIATION_ASSIGN) objc_release(former.value);
}

id objc_getAssociatedObject(id object, const void* key) {
  using namespace foundation;
  if (object == nullptr || !SideTable::mayHaveData(object)) return nullptr;
  Attachment found{key, nullptr, OBJC_ASSOCIATION_ASSIGN};
  {
    Stripe& stripe = SideTable::stripeOf(object);
    const std::lock_guard lock(stripe.mutex);
    const SideData* data = SideTable::find(stripe, object);
    if (data == nullptr) return nullptr;
    for (const Attachment& each : data->attachments) {
      if (each.key == key) found = each;
    }
    const bool isAtomic = found.policy == OBJC_ASSOCIATION_RETAIN || found.policy == OBJC_ASSOCIATION_COPY;
    if (!isAtomic) return found.value;
    objc_retain(found.value);
  }
  return objc_autorelease(found.value);
}

}  // extern "C"
