#pragma once

#include "platform/class_face.h"

/// Observes the application's `delegate`. When the application replaces the proxied delegate, the observer releases it
/// and stops observing. The new delegate is not proxied.
class PLXAppDelegateObserver {
 public:
  static PLXAppDelegateObserver& sharedInstance();

  /// Starts observing, unless it already is. Kept: without an application object it counts as observing all the same.
  void observeUIApplication();
  [[nodiscard]] bool isObserving() const { return isObserving_; }

  static constexpr const char* className = "PLXAppDelegateObserver";
  static void defineClass(platform::ClassFace<PLXAppDelegateObserver>& face);

 private:
  static id sharedObject();
  void observeValueForKeyPath(id keyPath, id object, id change, void* context);

  bool isObserving_ = false;
};
