#include "host/objc/method_list.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace host {
namespace {

std::size_t hashOf(const MethodList& list) {
  std::size_t hash = list.methods().size();
  for (const DeclaredMethod& method : list.methods()) {
    for (const auto part :
         {reinterpret_cast<std::uintptr_t>(method.name), reinterpret_cast<std::uintptr_t>(method.implementation)}) {
      hash = (hash ^ part) * 0x9E3779B97F4A7C15U;
    }
  }
  return hash;
}

/// The lists in use, by hash. A list that is released removes itself.
struct SharedLists {
  std::mutex mutex;
  std::unordered_multimap<std::size_t, std::weak_ptr<MethodList>> lists;

  // Never destroyed: classes may end while the program's other statics are destroyed.
  static SharedLists& all() {
    static auto& lists = *new SharedLists;
    return lists;
  }

  void removeReleased(std::size_t hash) {
    const std::lock_guard lock(mutex);
    const auto [first, last] = lists.equal_range(hash);
    for (auto place = first; place != last;) place = place->second.expired() ? lists.erase(place) : std::next(place);
  }
};

}  // namespace

const DeclaredMethod* MethodList::find(SEL name) const {
  const auto place = std::ranges::lower_bound(methods_, name, std::less<>(), &DeclaredMethod::name);
  return place == methods_.end() || place->name != name ? nullptr : &*place;
}

void MethodList::add(const DeclaredMethod& method) {
  if (methods_.empty()) methods_.reserve(16);
  methods_.insert(std::ranges::lower_bound(methods_, method.name, std::less<>(), &DeclaredMethod::name), method);
}

std::shared_ptr<MethodList> sharedMethodList(const std::shared_ptr<MethodList>& list) {
  if (list == nullptr || list->methods().empty()) return nullptr;
  SharedLists& shared = SharedLists::all();
  const std::size_t hash = hashOf(*list);
  const std::lock_guard lock(shared.mutex);
  const auto [first, last] = shared.lists.equal_range(hash);
  for (auto place = first; place != last; ++place) {
    if (auto known = place->second.lock(); known && known->methods() == list->methods()) return known;
  }
  std::shared_ptr<MethodList> made(new MethodList(*list), [hash](MethodList* released) {
    delete released;
    SharedLists::all().removeReleased(hash);
  });
  shared.lists.emplace(hash, made);
  return made;
}

}  // namespace host
