#pragma once

#include <string>

#include "platform/value.h"

namespace pellion {

// For people and tools that read JSON. Values that JSON cannot hold are written as text: bytes in hexadecimal, an
// object as its description.
std::string compactJSON(const platform::Value& value);
std::string prettyJSON(const platform::Value& value);  ///< what fits 88 columns on one line, no newline at the end
std::string spacedJSON(const platform::Value& value);  ///< on one line, with a space after each comma and colon

}  // namespace pellion
