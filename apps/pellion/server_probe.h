#pragma once

#include <string>

namespace pellion {

/// Throws InputError unless `url` is an http or https URL whose host takes connections. Nothing is sent to it.
void checkServerIsReachable(const std::string& url);

}  // namespace pellion
