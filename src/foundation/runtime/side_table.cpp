#include "foundation/runtime/side_table.h"

namespace foundation {

Stripe& SideTable::stripeOf(id object) {
  static auto& stripes = *new std::array<Stripe, 64>;  // never destroyed: threads may outlive main
  return stripes[hash(object) / 8192 % stripes.size()];
}

SideData* SideTable::find(Stripe& stripe, id object) {
  const auto found = stripe.objects.find(object);
  return found != stripe.objects.end() ? &found->second : nullptr;
}

SideData& SideTable::findOrMake(Stripe& stripe, id object) {
  const auto [place, isNew] = stripe.objects.try_emplace(object);
  if (isNew) filter_[hash(object) % filter_.size()].fetch_add(1, std::memory_order_release);
  return place->second;
}

SideData SideTable::take(Stripe& stripe, id object) {
  auto node = stripe.objects.extract(object);
  if (node.empty()) return {};
  filter_[hash(object) % filter_.size()].fetch_sub(1, std::memory_order_release);
  return std::move(node.mapped());
}

void SideTable::removeIfEmpty(Stripe& stripe, id object) {
  const SideData* data = find(stripe, object);
  if (data != nullptr && data->weakSlots.empty() && data->attachments.empty()) take(stripe, object);
}

}  // namespace foundation
