#pragma once

#include <span>
#include <string>

#include "pellion/document/scenario.h"

namespace pellion {

/// Throws InputError unless `url` is an http or https URL to which this scenario's phone may send.
void checkServerURL(const std::string& url, const Scenario& scenario);

/// Throws InputError unless `url` is an http or https URL to which every scenario's phone may send, and its host
/// accepts connections. Sends no data to the host.
void checkServer(const std::string& url, std::span<const Scenario> scenarios);

}  // namespace pellion
