#pragma once

#include <variant>

#include "platform/url_session.h"
#include "services/http/network_policy.h"

namespace host {

/// The answer goes to the handler as it is.
struct Deliver {};

/// What follows an answer: it is delivered, or another request goes out, or the load ends with an error. `redirects`
/// counts those already followed.
std::variant<Deliver, platform::URLRequest, platform::Error> nextStep(const platform::URLRequest& request,
                                                                      const platform::HTTPURLResponse& response,
                                                                      int redirects, const NetworkPolicy& policy);

}  // namespace host
