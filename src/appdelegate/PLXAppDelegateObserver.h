#pragma once

#include "platform/class_face.h"

/// Watches the application's `delegate`: once the application replaces the proxied one, it is let go and the watching
/// ends. The new delegate is not proxied.
class PLXAppDelegateObserver {
 public:
  static PLXAppDelegateObserver& sharedInstance();

  /// Starts watching, unless that was done. Kept: without an application object it counts as watching all the same.
  void observeUIApplication();
  [[nodiscard]] bool isObserving() const { return isObserving_; }

  static constexpr const char* className = "PLXAppDelegateObserver";
  static void defineClass(platform::ClassFace<PLXAppDelegateObserver>& face);

 private:
  void observeValueForKeyPath(id keyPath, id object, id change, void* context);

  bool isObserving_ = false;
};
