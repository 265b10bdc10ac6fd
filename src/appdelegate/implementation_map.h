#pragma once

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "platform/class_face.h"

/// The application's own implementations by selector, as an object that can be attached to its delegate. A null
/// implementation means that the application has none. The map does not change once it is attached.
class ImplementationMap {
 public:
  [[nodiscard]] std::optional<IMP> find(SEL selector) const {
    const auto entry = std::ranges::find(entries_, selector, &Entry::first);
    return entry != entries_.end() ? std::optional(entry->second) : std::nullopt;
  }
  void set(SEL selector, IMP implementation) {
    std::erase_if(entries_, [selector](const Entry& entry) { return entry.first == selector; });
    entries_.emplace_back(selector, implementation);
  }

  static constexpr const char* className = "PLXImplementationMap";
  static void defineClass(platform::ClassFace<ImplementationMap>& /*face*/) {}

 private:
  using Entry = std::pair<SEL, IMP>;
  std::vector<Entry> entries_;
};
