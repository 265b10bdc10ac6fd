#include "platform/exception.h"

#include <cstdlib>
#include <new>
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

void platform::raiseToCaller(const std::exception& exception) {
  if (const auto* raised = dynamic_cast<const foundation::RaisedObject*>(&exception)) {
    foundation_raiseAgain(objc_autorelease(objc_retain(raised->object().get())));
  } else if (const auto* ours = dynamic_cast<const Exception*>(&exception)) {
    foundation_raise(boxed(Value(ours->name())), boxed(Value(ours->reason())));
  } else if (dynamic_cast<const std::bad_alloc*>(&exception) != nullptr) {
    foundation_raiseForMemory();
  } else {
    const std::string reason = std::string("PellionMessaging: ") + exception.what();
    foundation_raise(boxed(Value("NSInternalInconsistencyException")), boxed(Value(reason)));
  }
  std::abort();  // all raise
}
