#pragma once

#include <string>

#include "pellion/backend/backend.h"

namespace pellion {

/// Reads a server's certificate, or a chain that begins with it, and its key, both PEM. Throws InputError for files
/// that cannot be read, hold something else, or do not belong together.
ServerIdentity readServerIdentity(const std::string& certificateFile, const std::string& keyFile);

}  // namespace pellion
