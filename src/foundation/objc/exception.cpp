#include "platform/exception.h"

#include <cstdlib>
#include <string>

#include "foundation/objc/guard.h"
#include "platform/reference.h"
#include "platform/value.h"

namespace foundation {
namespace {

std::string textOf(id string) {
  const auto value = platform::unboxed(string);
  return value ? std::string(value->text()) : std::string();
}

/// Keeps the raised object, so that the same one goes on to callers in Objective-C.
class RaisedObject final : public platform::Exception {
 public:
  explicit RaisedObject(platform::Strong object)
      : Exception(textOf(foundation_exceptionName(object.get())), textOf(foundation_exceptionReason(object.get()))),
        object_(std::move(object)) {}
  [[nodiscard]] const platform::Strong& object() const { return object_; }

 private:
  platform::Strong object_;
};

}  // namespace
}  // namespace foundation

void foundation_throwInCxx(id raised) { throw foundation::RaisedObject(platform::Strong::adopt(raised)); }

void platform::raiseToCaller(const Exception& exception) {
  if (const auto* raised = dynamic_cast<const foundation::RaisedObject*>(&exception)) {
    foundation_raiseAgain(objc_autorelease(objc_retain(raised->object().get())));
  } else {
    foundation_raise(boxed(Value(exception.name())), boxed(Value(exception.reason())));
  }
  std::abort();  // both raise
}
