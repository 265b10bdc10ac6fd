#include <algorithm>
#include <utility>
#include <vector>

#include "host/objc/objc_runtime.h"
#include "platform/send.h"

namespace host {
namespace {

constexpr std::uint32_t mostCached = methodCacheSize * 3 / 4;  // an empty place ends every search

Method findCached(Class cls, SEL selector) {
  const MethodCache& cache = *cls->cache.load(std::memory_order_acquire);
  for (std::uint32_t place = selector->place;; place = (place + 1) % methodCacheSize) {
    const Method method = cache.places[place].load(std::memory_order_acquire);
    if (method == nullptr || method->name == selector) return method;
  }
}

void emptyCache(Class cls) {
  MethodCache& cache = *cls->cache.load(std::memory_order_relaxed);
  if (cache.used == 0) return;
  for (auto& place : cls->found) place.store(nullptr, std::memory_order_relaxed);
  for (auto& place : cache.places) place.store(nullptr, std::memory_order_relaxed);
  cache.used = 0;
}

void fillCache(Class cls, Method method) {
  if (findCached(cls, method->name) != nullptr) return;  // another thread was faster
  MethodCache* cache = cls->cache.load(std::memory_order_relaxed);
  if (cache == &noMethodCache) cls->cache.store(cache = new MethodCache, std::memory_order_release);
  if (cache->used == mostCached) emptyCache(cls);
  auto& near = cls->found[method->name->place % cls->found.size()];
  if (near.load(std::memory_order_relaxed) == nullptr) near.store(method, std::memory_order_release);
  std::uint32_t place = method->name->place;
  while (cache->places[place].load(std::memory_order_relaxed) != nullptr) place = (place + 1) % methodCacheSize;
  cache->places[place].store(method, std::memory_order_release);
  ++cache->used;
}

}  // namespace

MethodCache noMethodCache;

void emptyMethodCaches(Class cls) {
  emptyCache(cls);
  for (Class each = cls->firstSubclass; each != nullptr; each = each->nextSubclass) emptyMethodCaches(each);
}

void freeMethodCache(Class cls) {
  MethodCache* const cache = cls->cache.load();
  if (cache != &noMethodCache) delete cache;
}

Method ownMethod(Class cls, SEL selector) {
  for (Method each = cls->methods; each != nullptr; each = each->next) {
    if (each->name == selector) return each;
  }
  const DeclaredMethod* const declared = cls->declared ? cls->declared->find(selector) : nullptr;
  return declared == nullptr ? nullptr : cls->runtime->makeMethod(cls, *declared);
}

Method findMethod(Class cls, SEL selector) {
  if (const Method cached = findCached(cls, selector)) return cached;
  const std::lock_guard lock(cls->runtime->mutex());
  Method method = nullptr;
  findClass(cls, [&](Class each) { return (method = ownMethod(each, selector)) != nullptr; });
  if (method != nullptr) fillCache(cls, method);
  return method;
}

namespace {

/// What the resolvers that run on this thread are asked for: a resolver that itself asks whether the class has the
/// method must not be asked without end.
thread_local std::vector<std::pair<Class, SEL>> beingResolved;

// The class may add the method in its resolver. Asked again each time, as long as the method is missing.
[[gnu::noinline]] Method resolveMethod(Class cls, SEL selector) {
  static const SEL instanceResolver = sel_registerName("resolveInstanceMethod:");
  static const SEL classResolver = sel_registerName("resolveClassMethod:");
  const id asked = platform::classObject(cls->isMeta ? cls->describedClass : cls);
  const SEL resolver = cls->isMeta ? classResolver : instanceResolver;
  const IMP code = method_getImplementation(findMethod(object_getClass(asked), resolver));
  if (code == nullptr || code == cls->runtime->resolvesNothing || code == forwardingMarker()) return nullptr;
  const std::pair question(cls, selector);
  if (std::ranges::find(beingResolved, question) != beingResolved.end()) return nullptr;
  struct Entry {
    explicit Entry(const std::pair<Class, SEL>& asked) { beingResolved.push_back(asked); }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
    ~Entry() { beingResolved.pop_back(); }
  } const entry(question);
  platform::send<bool(SEL)>(asked, resolver, selector);
  return findMethod(cls, selector);
}

}  // namespace

Method methodOrResolved(Class cls, SEL selector) {
  const Method method = findMethod(cls, selector);
  return method != nullptr ? method : resolveMethod(cls, selector);
}

}  // namespace host
