#pragma once

#include <span>
#include <string>
#include <string_view>

#include "pellion/document/scenario.h"

namespace pellion {

inline constexpr std::string_view serverOption = "--server";  ///< what errors call the URL

/// Throws InputError unless `url` is an http or https URL to which this scenario's phone may send.
void checkServerURL(const std::string& url, const Scenario& scenario, std::string_view name = serverOption);

/// Throws InputError unless `url` is an http or https URL to which every scenario's phone may send, and its host
/// accepts connections. Sends no data to the host.
void checkServer(const std::string& url, std::span<const Scenario> scenarios, std::string_view name = serverOption);

}  // namespace pellion
