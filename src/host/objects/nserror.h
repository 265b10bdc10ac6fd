#pragma once

#include <cstdint>
#include <utility>

#include "platform/class_face.h"
#include "platform/error.h"
#include "platform/objc.h"

namespace host {

/// The platform's error object, in the form that methods take.
class NSError {
 public:
  explicit NSError(platform::Error error) : error_(std::move(error)) {}

  static id make(platform::Error error) { return platform::makeObject<NSError>(std::move(error)).autoreleased(); }

  static constexpr const char* className = "NSError";
  static void defineClass(platform::ClassFace<NSError>& face);

 private:
  [[nodiscard]] id domain() const;
  [[nodiscard]] std::int64_t code() const { return error_.code; }
  [[nodiscard]] id localizedDescription() const;
  [[nodiscard]] id description() const;

  platform::Error error_;
};

}  // namespace host
