#include "platform/log.h"

#include "host/process.h"

namespace platform {
namespace {

void tell(const char* file, int line, const char* function, const char* marker, const char* tag, const char* format,
          std::initializer_list<FormatArgument> arguments, host::LogLevel level) {
  host::Process& process = host::Process::current();
  if (process.logLevel() < level) return;
  process.tell("module", "log",
               Value::dictionary({{"tag", tag},
                                  {"text", platform::format(format, arguments)},
                                  {"function", function},
                                  {"file", file},
                                  {"line", line},
                                  {"marker", marker}}));
}

}  // namespace

bool QLogIsListening() noexcept {
  const host::Process* process = host::Process::currentOrNull();
  return process != nullptr && process->logLevel() != host::LogLevel::none;
}

void QLogExtensionInternal(const char* file, int line, const char* function, const char* marker, const char* tag,
                           const char* format, std::initializer_list<FormatArgument> arguments) {
  const bool isWarning = std::string_view(tag) == pellionWarning.tag;
  tell(file, line, function, marker, tag, format, arguments,
       isWarning ? host::LogLevel::warning : host::LogLevel::info);
}

void QLogExtension(const char* file, int line, const char* function, const char* marker, const char* tag,
                   const char* format, std::initializer_list<FormatArgument> arguments) {
  const bool isWarning = std::string_view(tag) == warning.tag;
  tell(file, line, function, marker, tag, format, arguments,
       isWarning ? host::LogLevel::warning : host::LogLevel::verbose);
}

}  // namespace platform
