#pragma once

#include <cstdint>
#include <initializer_list>

#include "platform/text.h"

namespace platform {

// The core library's two log functions. They take the source file's name, the line, the full name of the method as the
// platform writes it ("-[Class selector:]", with "_block_invoke" for its blocks), a marker, a tag and a format.
// Any thread.
void QLogExtensionInternal(const char* file, int line, const char* function, const char* marker, const char* tag,
                           const char* format, std::initializer_list<FormatArgument> arguments);
void QLogExtension(const char* file, int line, const char* function, const char* marker, const char* tag,
                   const char* format, std::initializer_list<FormatArgument> arguments);

/// How much of the log is passed on; each level includes the ones before it.
enum class LogLevel : std::uint8_t { none, warning, info, verbose };

/// Returns the last component of a source path.
consteval const char* sourceFileName(const char* path) {
  const char* name = path;
  for (; *path != '\0'; ++path) {
    if (*path == '/') name = path + 1;
  }
  return name;
}

struct LogChannel {
  decltype(&QLogExtension) write;
  const char* marker;
  const char* tag;
  LogLevel level;
};

/// Whether the current process's log has a listener for this channel. A dropped line costs only this test.
bool QLogIsListening(const LogChannel& channel) noexcept;

// The module's four channels. The markers of the internal log start with zero-width spaces.
inline constexpr LogChannel pellionLog{&QLogExtensionInternal, "\u200B\u200B\u200B\U0001F916\u200B", "pellion-log",
                                       LogLevel::info};
inline constexpr LogChannel pellionWarning{&QLogExtensionInternal, "\u200B\u200B\u200B\u26A0\uFE0F", "pellion-warning",
                                           LogLevel::warning};
inline constexpr LogChannel warning{&QLogExtension, "\u26A0\uFE0F", "warning", LogLevel::warning};
inline constexpr LogChannel verbose{&QLogExtension, "\U0001F7E3", "verbose", LogLevel::verbose};

}  // namespace platform

/// `PL_LOG(platform::pellionLog, "-[Class method:]", "format %@", argument…)`. A macro, because a dropped line must not
/// even evaluate its arguments.
#define PL_LOG(channel, method, format, ...)                                                                         \
  do {                                                                                                               \
    if (platform::QLogIsListening(channel)) {                                                                        \
      (channel).write(platform::sourceFileName(__FILE__), __LINE__, method, (channel).marker, (channel).tag, format, \
                      {__VA_ARGS__});                                                                                \
    }                                                                                                                \
  } while (false)
