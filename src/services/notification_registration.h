#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "platform/objc.h"
#include "platform/reference.h"

namespace services {

/// An observer in a notification center. `newSender` null: of notifications from any sender.
struct NotificationRegistration {
  NotificationRegistration(id newObserver, SEL newSelector, std::string_view newName, id newSender)
      : identity(newObserver),
        observer(newObserver),
        selector(newSelector),
        name(newName),
        isForAnySender(newSender == nullptr),
        sender(newSender) {}

  /// A sender that no longer exists does not mean "any sender".
  [[nodiscard]] bool accepts(id poster) const {
    return isForAnySender || (poster != nullptr && sender.load().get() == poster);
  }

  id identity;  ///< for comparison only
  platform::Weak observer;
  SEL selector;
  std::string name;
  bool isForAnySender;
  platform::Weak sender;
  std::atomic<bool> isRemoved{false};
};

}  // namespace services
