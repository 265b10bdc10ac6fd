#pragma once

#include <map>
#include <optional>
#include <string>

#include "pellion/document/application_description.h"
#include "platform/objc.h"
#include "platform/reference.h"

namespace pellion {

/// The objects of the application in one of its processes, as a scenario describes them: platform::Process::shared.
/// Their classes are made at run time and have plain methods, as any application's. Each is made when it is first
/// spoken of, and kept until the application lets go of it. What they hear and answer are events of the actor "app":
/// "called" and "answered". Main thread.
class ApplicationObjects {
 public:
  /// Before anything else; the description outlives the process.
  void describe(const ApplicationDescription& application) { application_ = &application; }
  [[nodiscard]] const ApplicationDescription& application() const { return *application_; }

  platform::Strong object(const std::string& name);
  /// Null for no name.
  platform::Strong object(const std::optional<std::string>& name) { return name ? object(*name) : platform::Strong(); }
  /// Whether it is gone now, or else kept by somebody else.
  bool release(const std::string& name);

  [[nodiscard]] const Behaviour& behaviour(const std::string& name, Callback callback) const;
  /// What `name` forwards to what its class lacks, or null.
  platform::Strong forwardingTarget(const std::string& name);

 private:
  Class classOf(const std::string& name);
  /// The class that `name` is an instance of or inherits from next.
  [[nodiscard]] const std::optional<std::string>& next(const std::string& name) const;

  const ApplicationDescription* application_ = nullptr;
  std::map<std::string, Class> classes_;
  std::map<std::string, platform::Strong> objects_;
};

/// Starts the application in the current process, as the platform does. The description outlives the process.
void startApplication(const ApplicationDescription& application);

}  // namespace pellion
