#pragma once

#include <string>
#include <vector>

#include "platform/value.h"

namespace test {

/// Makes the classes of a core library, whose configuration is the property list at `path`. It signs nothing, and
/// records its log and the payloads that it encodes. Once in a program.
void installCoreLibrary(const std::string& path);

struct LoggedLine {
  std::string tag, function, marker, text;
};
std::vector<LoggedLine> takeLoggedLines();
std::vector<platform::Value> takePayloads();

}  // namespace test
