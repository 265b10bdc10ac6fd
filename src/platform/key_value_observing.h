#pragma once

#include <cstdint>
#include <optional>

#include "platform/objc.h"
#include "platform/value.h"

namespace platform {

inline constexpr std::uint64_t NSKeyValueObservingOptionNew = 1;
inline constexpr std::uint64_t NSKeyValueObservingOptionOld = 2;
inline constexpr const char* NSKeyValueChangeNewKey = "new";
inline constexpr const char* NSKeyValueChangeOldKey = "old";
inline constexpr const char* observeValueForKeyPathSelector = "observeValueForKeyPath:ofObject:change:context:";

// Every setter call notifies the observers by `observeValueForKeyPath:ofObject:change:context:`, within the call and on
// its thread, also when it sets the same object again. In the change dictionary, the null object stands for nil.
// Observers may remove themselves inside the callback. A call with a null object does nothing. Removing an observer
// that was never registered raises NSRangeException.
void addObserver(id object, id observer, const char* keyPath, std::uint64_t options, void* context);
void removeObserver(id object, id observer, const char* keyPath);
void removeObserver(id object, id observer, const char* keyPath, void* context);

/// Returns what a change dictionary holds under `key`, or nothing.
inline std::optional<Value> changedValue(id change, const char* key) {
  const std::optional<Value> changes = unboxed(change);
  return changes ? copied(changes->find(key)) : std::nullopt;
}

}  // namespace platform
