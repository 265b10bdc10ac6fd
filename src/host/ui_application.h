#pragma once

#include <cstdint>
#include <vector>

#include "platform/block.h"
#include "platform/class_face.h"
#include "platform/objc.h"
#include "platform/reference.h"

namespace host {

/// The application object of a process: class UIApplication and its one instance, `sharedApplication`.
///
/// What is opened and set is told as events of the actor "platform". A URL can be opened when its scheme is https, http
/// or one that the application declares (Process::Environment::urlSchemes). Main thread.
class UIApplication {
 public:
  /// Makes the class and the protocol UIApplicationDelegate known to the current process, as the platform does before
  /// the application runs.
  static void install();

  /// The application object, which is there also where its class is not found by name.
  static id sharedApplication();
  /// The delegate, when it answered `callback` at the time it was set. As on the platform, what a delegate answers is
  /// asked once, by `setDelegate:`; a method added later is not called until the delegate is set again.
  static platform::Strong delegateAnswering(SEL callback);
  /// What both badge setters of the platform come to; neither calls the other.
  static void showBadge(std::int64_t number);

  static constexpr const char* className = "UIApplication";
  static void defineClass(platform::ClassFace<UIApplication>& face);

 private:
  [[nodiscard]] id delegate() const;
  void setDelegate(id delegate);
  void registerForRemoteNotifications();
  bool canOpenURL(id url);
  void openURL(id url, id options, platform::BlockPtr<void(bool)> completion);
  static std::int64_t applicationIconBadgeNumber();

  platform::Weak delegate_;  // the application keeps its delegate, see UIApplicationMain
  std::vector<SEL> answered_;
};

}  // namespace host
