#pragma once

#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "platform/objc.h"

namespace services {

/// The observers of a notification center. Any thread.
class NotificationObservers {
 public:
  NotificationObservers();
  NotificationObservers(const NotificationObservers&) = delete;
  NotificationObservers& operator=(const NotificationObservers&) = delete;
  ~NotificationObservers();

  /// Registers an observer, which is not retained, for a name. `sender` null: of notifications from any sender.
  void add(id observer, SEL selector, std::string_view name, id sender);
  /// Ends all registrations of the observer; compares the handle alone.
  void remove(id observer);
  /// Sends the notification to the observers of its name that exist and were not removed during the call, in the order
  /// of registration. What one raises leaves.
  void send(std::string_view name, id sender, id notification);

 private:
  struct Registration;
  using Registrations = std::vector<std::shared_ptr<Registration>>;
  template <class Test>
  Registrations take(Test test);

  std::mutex mutex_;
  Registrations registrations_;
};

}  // namespace services
