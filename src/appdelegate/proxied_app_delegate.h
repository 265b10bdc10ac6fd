#pragma once

#include "platform/objc.h"
#include "platform/process.h"
#include "platform/reference.h"

// Keys of what is attached to the delegate object. Their addresses are the keys; the texts identify them in a
// debugger.
inline constexpr char kPLXOrigIMPBySelectorKey[] = "PLX_origIMPBySelector";  ///< an ImplementationMap
inline constexpr char kPLXOrigClassKey[] = "PLX_origClass";  ///< its class before the switch; no code reads it

/// The state of the proxied application delegate, once in a process. Main thread.
struct ProxiedAppDelegate {
  /// Kept alive until the application replaces it.
  platform::Strong aOriginalAppDelegate;
  Class aOriginalAppDelegateClass = nullptr;  ///< before it was switched to the subclass
  Class aAppDelegateSubclass = nullptr;       ///< null when it could not be made
  // Set before the work that they guard, so that it runs once, even when it fails or calls this code again.
  bool sProxyAppDelegateOnceToken = false;
  bool sProxyAppDelegateRemoteNotificationOnceToken = false;

  static ProxiedAppDelegate& shared() { return platform::Process::shared<ProxiedAppDelegate>(); }
};
