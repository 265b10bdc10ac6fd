#pragma once

#include <cstdint>

#include "platform/block.h"
#include "platform/class_face.h"
#include "platform/objc.h"

namespace host {

/// The application object of a process: class UIApplication and its one instance, `sharedApplication`.
///
/// What is opened and set is told as events of the actor "platform". A URL can be opened when its scheme is https, http
/// or one that the application declares (Process::Environment::urlSchemes).
class UIApplication {
 public:
  /// Makes the class known to the current process, as the platform does before the application runs.
  static void install();

  /// What both badge setters of the platform come to; neither calls the other.
  static void showBadge(std::int64_t number);

  static constexpr const char* className = "UIApplication";
  static void defineClass(platform::ClassFace<UIApplication>& face);

 private:
  static id sharedApplication();
  bool canOpenURL(id url);
  void openURL(id url, id options, platform::BlockPtr<void(bool)> completion);
  static std::int64_t applicationIconBadgeNumber();
};

}  // namespace host
