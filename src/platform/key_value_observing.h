#pragma once

#include <cstdint>

#include "platform/objc.h"

namespace platform {

inline constexpr std::uint64_t NSKeyValueObservingOptionNew = 1;
inline constexpr std::uint64_t NSKeyValueObservingOptionOld = 2;
inline constexpr const char* NSKeyValueChangeNewKey = "new";
inline constexpr const char* NSKeyValueChangeOldKey = "old";

// Every setter call tells the observers, within the call and on its thread, by
// `observeValueForKeyPath:ofObject:change:context:`, also when the same object is set again. In the change dictionary
// nil is the null object. Observers may remove themselves inside the callback. A null object observes nothing.
// Removing what was never registered raises NSRangeException.
void addObserver(id object, id observer, const char* keyPath, std::uint64_t options, void* context);
void removeObserver(id object, id observer, const char* keyPath);
void removeObserver(id object, id observer, const char* keyPath, void* context);

}  // namespace platform
