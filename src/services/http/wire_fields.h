#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/url_session.h"

namespace host {

/// Why a request must not be written to a connection: a method or field name that is no token, a value that would
/// start a line of its own, framing that is not the caller's to choose. Nothing when it may.
std::optional<std::string> wireFault(const platform::URLRequest& request);

/// The request's header fields in their order, the body's true length for any other, and behind them what the platform
/// adds: each as libcurl takes it, with everything taken back that libcurl would add by itself. Host is left to it.
std::vector<std::string> wireFields(const platform::URLRequest& request);

}  // namespace host
