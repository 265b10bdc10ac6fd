#include <algorithm>
#include <utility>
#include <vector>

#include "host/objc/objc_runtime.h"
#include "platform/send.h"

namespace host {
namespace {

constexpr std::uint32_t smallCache = 8;
constexpr std::uint32_t largeCache = 32;

constexpr std::uint32_t mostIn(std::uint32_t size) { return size * 3 / 4; }  // an empty place ends every search

Method findCached(Class cls, SEL selector) {
  MethodCache& cache = *cls->cache.load(std::memory_order_acquire);
  for (std::uint32_t place = selector->place;; ++place) {
    const Method method = cache.places()[place & cache.mask].load(std::memory_order_acquire);
    if (method == nullptr || method->name == selector) return method;
  }
}

void emptyCache(MethodCache& cache) {
  if (cache.used == 0) return;
  for (std::uint32_t place = 0; place <= cache.mask; ++place) {
    cache.places()[place].store(nullptr, std::memory_order_relaxed);
  }
  cache.used = 0;
}

MethodCache* makeCache(std::uint32_t size, MethodCache* former) {
  void* const memory = ::operator new(sizeof(MethodCache) + size * sizeof(std::atomic<Method>));
  auto* const cache = new (memory) MethodCache{size - 1, 0, former};
  for (std::uint32_t place = 0; place < size; ++place) new (&cache->places()[place]) std::atomic<Method>(nullptr);
  return cache;
}

void insert(MethodCache& cache, Method method) {
  std::uint32_t place = method->name->place;
  while (cache.places()[place & cache.mask].load(std::memory_order_relaxed) != nullptr) ++place;
  cache.places()[place & cache.mask].store(method, std::memory_order_release);
  ++cache.used;
}

/// Returns a cache with room for one more.
MethodCache& roomyCache(Class cls) {
  MethodCache* const cache = cls->cache.load(std::memory_order_relaxed);
  if (cache == &noMethodCache.cache) {
    cls->cache.store(makeCache(smallCache, nullptr), std::memory_order_release);
  } else if (cache->used == mostIn(largeCache)) {
    emptyCache(*cache);
  } else if (cache->used == mostIn(smallCache) && cache->mask < smallCache) {
    MethodCache* const larger = makeCache(largeCache, cache);
    for (std::uint32_t place = 0; place < smallCache; ++place) {
      if (const Method known = cache->places()[place].load(std::memory_order_relaxed)) insert(*larger, known);
    }
    cls->cache.store(larger, std::memory_order_release);
  }
  return *cls->cache.load(std::memory_order_relaxed);
}

void fillCache(Class cls, Method method) {
  if (findCached(cls, method->name) != nullptr) return;  // another thread was faster
  insert(roomyCache(cls), method);
}

}  // namespace

NoMethodCache noMethodCache{};

// A thread that still reads a former cache finds methods there that were right when it began to read.
void emptyMethodCaches(Class cls) {
  emptyCache(*cls->cache.load(std::memory_order_relaxed));
  for (Class each = cls->firstSubclass; each != nullptr; each = each->nextSubclass) emptyMethodCaches(each);
}

void freeMethodCaches(Class cls) {
  MethodCache* cache = cls->cache.exchange(nullptr);
  while (cache != nullptr && cache != &noMethodCache.cache) ::operator delete(std::exchange(cache, cache->former));
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
