#include "platform/log.h"

#include "host/phone/process.h"

namespace platform {
namespace {

void write(const char* file, int line, const char* function, const char* marker, const char* tag, const char* format,
           std::initializer_list<FormatArgument> arguments) {
  host::Process::current().report("module", "log",
                                  Value::dictionary({{"tag", tag},
                                                     {"text", platform::format(format, arguments)},
                                                     {"function", function},
                                                     {"file", file},
                                                     {"line", line},
                                                     {"marker", marker}}));
}

}  // namespace

bool QLogIsListening(const LogChannel& channel) noexcept {
  const host::Process* process = host::Process::currentOrNull();
  return process != nullptr && process->logLevel() >= channel.level;
}

void QLogExtensionInternal(const char* file, int line, const char* function, const char* marker, const char* tag,
                           const char* format, std::initializer_list<FormatArgument> arguments) {
  write(file, line, function, marker, tag, format, arguments);
}

void QLogExtension(const char* file, int line, const char* function, const char* marker, const char* tag,
                   const char* format, std::initializer_list<FormatArgument> arguments) {
  write(file, line, function, marker, tag, format, arguments);
}

}  // namespace platform
