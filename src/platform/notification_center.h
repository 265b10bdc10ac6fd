#pragma once

#include <string_view>

#include "platform/objc.h"

namespace platform::NotificationCenter {

// The default notification center of the current process. It calls the observers synchronously on the poster's thread,
// in the order of registration, with one argument: a notification object with the properties `name`, `object` and
// `userInfo`. An observer registered twice is called twice; one removed during a post is not called after its removal.
// The center does not keep observers alive.

/// A null sender means any sender.
void addObserver(id observer, SEL selector, std::string_view name, id sender);
void removeObserver(id observer);
void postNotificationName(std::string_view name, id object, id userInfo = nullptr);

}  // namespace platform::NotificationCenter
