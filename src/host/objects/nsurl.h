#pragma once

#include <string>
#include <utility>

#include "platform/class_face.h"
#include "platform/objc.h"

namespace host {

/// The platform's URL object, in the form that methods take.
class NSURL {
 public:
  explicit NSURL(std::string text) : text_(std::move(text)) {}

  static id make(std::string text) { return platform::makeObject<NSURL>(std::move(text)).autoreleased(); }
  /// Accepts any object that responds to `absoluteString`.
  static std::string textOf(id url);

  static constexpr const char* className = "NSURL";
  static void defineClass(platform::ClassFace<NSURL>& face);

 private:
  [[nodiscard]] id absoluteString() const;

  std::string text_;
};

}  // namespace host
