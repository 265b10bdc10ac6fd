#pragma once

#include <string>

namespace foundation {

/// Names a part of the core library that the program lacks in the log, once: in the core library's, or without it in
/// the system's.
void noteMissing(const std::string& part);

}  // namespace foundation
