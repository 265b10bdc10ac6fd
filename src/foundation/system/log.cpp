#include "platform/log.h"

#include <array>
#include <atomic>
#include <mutex>
#include <set>

#include "foundation/objc/guarded.h"
#include "foundation/system/application_settings.h"
#include "foundation/system/log_functions.h"
#include "foundation/system/missing_parts.h"
#include "platform/reference.h"

namespace foundation {
namespace {

using platform::FormatArgument;
using platform::Value;

void write(bool isInternal, const char* file, int line, const char* function, const char* marker, const char* tag,
           const std::string& text) {
  const platform::AutoreleasePool pool;
  const id markerText = platform::boxed(Value(marker));
  const id tagText = platform::boxed(Value(tag));
  const id line_ = platform::boxed(Value(text));
  guarded([&] { foundation_log(isInternal, file, line, function, markerText, tagText, line_); });
}

}  // namespace

void noteMissing(const std::string& part) {
  static auto& mutex = *new std::mutex;
  static auto& noted = *new std::set<std::string>;
  {
    const std::lock_guard lock(mutex);
    if (!noted.insert(part).second) return;
  }
  const std::string text = "the core library has no " + part;
  if (foundation_hasLog(true)) {
    write(true, "PellionFoundation", 0, "PellionFoundation", platform::pellionWarning.marker,
          platform::pellionWarning.tag, text);
  } else {
    const platform::AutoreleasePool pool;
    foundation_systemLog(("PellionMessaging: " + text).c_str());
  }
}

}  // namespace foundation

namespace platform {

// The core library decides what becomes of a line; a program without the function has no such log. The function may
// come with a library that is loaded later.
bool QLogIsListening(const LogChannel& channel) noexcept {
  const bool isInternal = channel.write == &QLogExtensionInternal;
  if (foundation_hasLog(isInternal)) return channel.level != LogLevel::none;
  static std::array<std::atomic<bool>, 2> isNoted{};
  if (!isNoted[isInternal ? 1 : 0].exchange(true)) {
    foundation::noteMissing(isInternal ? "function QLogExtensionInternal" : "function QLogExtension");
  }
  return false;
}

void QLogExtensionInternal(const char* file, int line, const char* function, const char* marker, const char* tag,
                           const char* format, std::initializer_list<FormatArgument> arguments) {
  foundation::write(true, file, line, function, marker, tag, platform::format(format, arguments));
}

void QLogExtension(const char* file, int line, const char* function, const char* marker, const char* tag,
                   const char* format, std::initializer_list<FormatArgument> arguments) {
  foundation::write(false, file, line, function, marker, tag, platform::format(format, arguments));
}

}  // namespace platform
