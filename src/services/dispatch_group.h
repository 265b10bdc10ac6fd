#pragma once

#include <functional>

namespace services {

/// Adds work to a main queue. May be called on any thread, and after the end of the process that it is from.
using MainQueue = std::function<void(std::function<void()> work)>;

/// Each backend defines this: the main queue of the current process, for the groups of platform::DispatchGroup.
MainQueue mainQueue();

}  // namespace services
