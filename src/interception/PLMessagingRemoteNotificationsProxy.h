#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/block.h"
#include "platform/class_face.h"
#include "platform/objc.h"
#include "platform/reference.h"
#include "platform/ui_application.h"

/// Receives everything about remote notifications without a line of code in the application. It is an interceptor of
/// the application delegate's callbacks, hooks the two badge setters, and replaces two methods in the class of the
/// notification center's present delegate.
///
/// Main thread, and no lock: the thread that replaces methods must be the thread that calls them.
class PLMessagingRemoteNotificationsProxy {
 public:
  static void load() {}                                     ///< nothing starts when the library is loaded
  static bool canPerformMethodSwizzling() { return true; }  ///< Kept: no code calls it
  static PLMessagingRemoteNotificationsProxy& sharedInstance();

  PLMessagingRemoteNotificationsProxy() = default;
  PLMessagingRemoteNotificationsProxy(const PLMessagingRemoteNotificationsProxy&) = delete;
  PLMessagingRemoteNotificationsProxy& operator=(const PLMessagingRemoteNotificationsProxy&) = delete;
  /// Undoes the replacements and observations that are recorded. The shared instance is never deallocated.
  void dealloc();

  /// Runs the whole start, once. Not guarded against two threads.
  void performMethodSwizzlingIfPossible();

  // The notification center's delegate, the present one and later ones (_center_delegate.cpp).
  void monitorUserNotificationCenterDelegateChanges(id center);
  void attachDelegateObserverToUserNotificationCenter(id center);
  void detachUserNotificationCenterDelegateObserver();
  void swizzleDelegateForUserNotificationCenter(id delegate);
  void unswizzleDelegateForUserNotificationCenter(id delegate);

  // The replaced methods, their classes and their former implementations (_bookkeeping.cpp).
  /// Makes `cls`, or the superclass that it inherits the method from, run `replacement` for the selector.
  void swizzleSelector(SEL selector, Class cls, IMP replacement, Protocol* protocol);
  /// Kept: if no implementation was preserved, the method forwards from now on, as if the class did not have it.
  void unswizzleSelector(SEL selector, Class cls);
  void unswizzleAllMethods();
  void preserveOriginalImplementation(IMP implementation, SEL selector);
  [[nodiscard]] IMP fetchOriginalImplementationForSelector(SEL selector) const;  ///< null when none is kept
  void discardImplementationForSelector(SEL selector);
  void monitorSwizzledSelector(SEL selector, Class cls);
  /// The implementation that the runtime returns for a method that no class has.
  [[nodiscard]] static IMP missingMethodImplementationForClass(Class cls);

  [[nodiscard]] bool didSwizzleMethods() const { return didSwizzleMethods_; }
  [[nodiscard]] bool isUserNotificationDelegateSwizzled() const { return isUserNotificationDelegateSwizzled_; }
  [[nodiscard]] bool isListeningForUserNotificationDelegateChanges() const {
    return isListeningForUserNotificationDelegateChanges_;
  }
  [[nodiscard]] id presentUserNotificationCenterDelegate() const {
    return presentUserNotificationCenterDelegate_.get();
  }
  [[nodiscard]] const std::optional<std::string>& appDelegateMonitoringID() const { return appDelegateMonitoringID_; }
  /// The names of the replaced selectors, by class name.
  using SelectorsByClass = std::map<std::string, std::vector<std::string>>;
  [[nodiscard]] const SelectorsByClass& swizzledMethodsByClass() const { return swizzledMethodsByClass_; }

  static constexpr const char* className = "PLMessagingRemoteNotificationsProxy";
  static void defineClass(platform::ClassFace<PLMessagingRemoteNotificationsProxy>& face);

 private:
  static id sharedObject();
  void observeValueForKeyPath(id keyPath, id object, id change, void* context);
  void observedDelegate(id keyPath, id change);

  // The application delegate's callbacks, received as an interceptor.
  using FetchHandler = platform::BlockPtr<void(platform::UIBackgroundFetchResult)>;
  void didReceiveRemoteNotification(id application, id userInfo, FetchHandler handler);
  void didFailToRegister(id application, id error);
  void didRegister(id application, id deviceToken);

  bool didSwizzleMethods_ = false;
  bool isUserNotificationDelegateSwizzled_ = false;
  bool isListeningForUserNotificationDelegateChanges_ = false;
  std::map<SEL, IMP> origAppDelegateImps_;  // Kept: by selector only, so those of one class at a time
  SelectorsByClass swizzledMethodsByClass_;
  platform::Strong userNotificationCenter_;                 // the observed one
  platform::Strong presentUserNotificationCenterDelegate_;  // whose class is intercepted; kept alive
  std::optional<std::string> appDelegateMonitoringID_;
};
