#pragma once

#include <map>
#include <optional>
#include <string>

#include "pellion/document/application_description.h"
#include "platform/objc.h"
#include "platform/reference.h"

namespace pellion {

/// The objects of the application in one of its processes, as a scenario describes them: platform::Process::shared.
/// Their classes are made at run time and have plain methods, as in any application. Each is made at its first use and
/// kept until the application releases it. Its calls and answers are events of the actor "app". Main thread.
/// "called" and "answered". Main thread.
class ApplicationObjects {
 public:
  /// Call this before anything else; the description outlives the process.
  void describe(const ApplicationDescription& application) { application_ = &application; }
  [[nodiscard]] const ApplicationDescription& application() const { return *application_; }

  platform::Strong object(const std::string& name);
  /// Null when there is no name.
  platform::Strong object(const std::optional<std::string>& name) { return name ? object(*name) : platform::Strong(); }
  /// Returns whether the object is gone now; false means that other code still keeps it.
  bool release(const std::string& name);

  /// Nothing for any other object.
  [[nodiscard]] std::optional<std::string> nameOf(id object) const;

  [[nodiscard]] const Behaviour& behaviour(const std::string& name, Callback callback) const;
  /// The object to which `name` forwards messages that its class lacks, or null.
  platform::Strong forwardingTarget(const std::string& name);

 private:
  Class classOf(const std::string& name);
  /// The class of which `name` is an instance, or from which it inherits directly.
  [[nodiscard]] const std::optional<std::string>& next(const std::string& name) const;

  const ApplicationDescription* application_ = nullptr;
  std::map<std::string, Class> classes_;
  std::map<std::string, platform::Strong> objects_;
};

/// Whether this is the code of the application's classes for the callback.
bool isApplicationsImplementation(Callback callback, IMP implementation);

/// The class from which all classes of the application inherit.
bool isBaseOfApplication(Class cls);

/// Starts the application in the current process, as the platform does. The description outlives the process.
void startApplication(const ApplicationDescription& application);

}  // namespace pellion
