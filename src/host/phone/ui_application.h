#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/block.h"
#include "platform/class_face.h"
#include "platform/objc.h"
#include "platform/reference.h"

namespace host {

/// The application object of a process: class UIApplication and its one instance, `sharedApplication`.
///
/// What is opened and set is reported as events of the actor "platform". Main thread.
class UIApplication {
 public:
  /// Makes the class and the protocol UIApplicationDelegate known to the current process, as the platform does before
  /// the application runs.
  static void install();

  /// The application object, which exists even where no look-up finds its class by name.
  static id sharedApplication();
  /// Returns the delegate if it responded to `callback` when it was set. As on the platform, `setDelegate:` asks once
  /// which methods a delegate has; a method added later is not called until the delegate is set again.
  static platform::Strong delegateAnswering(SEL callback);
  /// What both badge setters of the platform lead to; neither calls the other.
  static void showBadge(std::int64_t number);
  /// Whether something on the phone opens URLs of the scheme, which is in lower case: the application itself, or an
  /// application installed on every phone, or on this one (Process::Environment::urlSchemes).
  static bool isInstalled(const std::string& scheme);

  static constexpr const char* className = "UIApplication";
  static void defineClass(platform::ClassFace<UIApplication>& face);

 private:
  [[nodiscard]] id delegate() const;
  void setDelegate(id delegate);
  void registerForRemoteNotifications();
  /// Considers only the scheme and what the application declares: see URLSchemes.
  bool canOpenURL(id url);
  /// Opens every URL for which an application is installed, whatever the application declares.
  void openURL(id url, id options, platform::BlockPtr<void(bool)> completion);
  static std::int64_t applicationIconBadgeNumber();

  platform::Weak delegate_;  // the application keeps its delegate, see UIApplicationMain
  std::vector<SEL> answered_;
};

}  // namespace host
