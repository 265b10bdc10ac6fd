#pragma once

#include <span>
#include <string>

#include "pellion/document/scenario.h"

namespace pellion {

/// Throws InputError unless `url` is an http or https URL to which every scenario's phone may send, and its host takes
/// connections. Nothing is sent to it.
void checkServer(const std::string& url, std::span<const Scenario> scenarios);

}  // namespace pellion
