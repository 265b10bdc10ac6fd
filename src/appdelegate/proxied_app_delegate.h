#pragma once

#include "platform/objc.h"
#include "platform/process.h"
#include "platform/reference.h"

// Keys of what is attached to the delegate object: their addresses count, the texts are for whoever finds them in a
// debugger.
inline constexpr char kPLXOrigIMPBySelectorKey[] = "PLX_origIMPBySelector";  ///< an ImplementationMap
inline constexpr char kPLXOrigClassKey[] = "PLX_origClass";  ///< its class before the switch; nobody reads it

/// What there is once in a process of the proxied application delegate. Main thread.
struct ProxiedAppDelegate {
  /// Kept alive until the application replaces it.
  platform::Strong aOriginalAppDelegate;
  Class aOriginalAppDelegateClass = nullptr;  ///< before it was switched to the subclass
  Class aAppDelegateSubclass = nullptr;       ///< null when its making failed
  // Set before the work that they guard, so that it is done once whatever comes of it, also when it comes back here.
  bool sProxyAppDelegateOnceToken = false;
  bool sProxyAppDelegateRemoteNotificationOnceToken = false;

  static ProxiedAppDelegate& shared() { return platform::Process::shared<ProxiedAppDelegate>(); }
};
