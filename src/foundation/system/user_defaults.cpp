#include "platform/user_defaults.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <string>

#include "foundation/objc/guarded.h"
#include "foundation/system/defaults_domain.h"
#include "platform/object_messages.h"
#include "platform/reference.h"
#include "services/defaults_value.h"

namespace foundation {
namespace {

using platform::Value;

/// Held while a suite is changed: Foundation stores whole suites, and the application and its extension share one.
class DefaultsLock {
 public:
  DefaultsLock() {
    const auto path = platform::unboxed(foundation_defaultsLockPath());
    if (!path) return;
    file_ = ::open(std::string(path->text()).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file_ >= 0) ::flock(file_, LOCK_EX);
  }
  DefaultsLock(const DefaultsLock&) = delete;
  DefaultsLock& operator=(const DefaultsLock&) = delete;
  ~DefaultsLock() {
    if (file_ >= 0) ::close(file_);
  }

 private:
  int file_ = -1;  // a folder that cannot be written needs no lock: nothing changes there
};

/// Foundation does not check what it stores in a domain, and writes objects of other classes as their descriptions.
/// Dates are the one kind of a property list that no Value has.
bool isDate(id object) { return platform::isKindOfClass(object, objc_getClass("NSDate")); }

class UserDefaults final : public platform::UserDefaults {
 public:
  explicit UserDefaults(std::string_view suite) : suite_(suite) {}

  std::optional<Value> objectForKey(std::string_view key) override {
    const platform::AutoreleasePool pool;
    platform::Strong value;
    guarded([&] { value = foundation_defaultsValue(platform::boxed(suite_), platform::boxed(Value(key))); });
    return platform::unboxed(value.get());
  }

  void setObject(const Value& value, std::string_view key) override {
    services::requirePropertyList(value, key, &isDate);
    const platform::AutoreleasePool pool;
    const id object = platform::boxed(value);
    const DefaultsLock lock;
    guarded([&] { foundation_setDefaultsValue(platform::boxed(suite_), platform::boxed(Value(key)), object); });
  }

  void synchronize() override {
    const platform::AutoreleasePool pool;
    guarded(&foundation_synchronizeDefaults);
  }

 private:
  Value suite_;
};

}  // namespace
}  // namespace foundation

std::shared_ptr<platform::UserDefaults> platform::UserDefaults::initWithSuiteName(std::string_view name) {
  return std::make_shared<foundation::UserDefaults>(name);
}
