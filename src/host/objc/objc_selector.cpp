#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <unordered_set>

#include "host/objc/objc_runtime.h"

// Selectors and type encodings are few, and all processes share them, so they exist until the program ends.

namespace host {
namespace {

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

struct Interned {
  std::shared_mutex mutex;
  std::unordered_map<std::string_view, objc_selector*> selectors;
  std::unordered_set<std::string, TextHash, std::equal_to<>> texts;
};

// Never destroyed: objects may still be deallocated while the program's other statics are destroyed.
Interned& internedTexts() {
  static auto& all = *new Interned;
  return all;
}

}  // namespace

const char* interned(std::string_view text) {
  Interned& all = internedTexts();
  {
    const std::shared_lock lock(all.mutex);
    if (const auto found = all.texts.find(text); found != all.texts.end()) return found->c_str();
  }
  const std::lock_guard lock(all.mutex);
  return all.texts.emplace(text).first->c_str();
}

}  // namespace host

SEL sel_registerName(const char* name) {
  if (name == nullptr) return nullptr;
  auto& [mutex, selectors, texts] = host::internedTexts();
  {
    const std::shared_lock lock(mutex);
    if (const auto found = selectors.find(name); found != selectors.end()) return found->second;
  }
  const std::lock_guard lock(mutex);
  if (const auto found = selectors.find(name); found != selectors.end()) return found->second;
  // Numbered consecutively, so that the selectors of one class seldom collide in its cache.
  const auto place = static_cast<std::uint32_t>(selectors.size());
  auto* selector = new objc_selector{place, name};
  selectors.emplace(selector->name, selector);
  return selector;
}

const char* sel_getName(SEL selector) { return selector == nullptr ? "<null selector>" : selector->name.c_str(); }
