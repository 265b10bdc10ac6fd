#pragma once

#include <variant>

#include "platform/url_session.h"
#include "services/http/network_policy.h"

namespace services {

/// The handler receives the response unchanged.
struct Deliver {};

/// Decides what follows a response: it is delivered, another request is sent, or the load ends with an error.
/// `redirects` is the number of redirects already followed.
std::variant<Deliver, platform::URLRequest, platform::Error> nextStep(const platform::URLRequest& request,
                                                                      const platform::HTTPURLResponse& response,
                                                                      int redirects, const NetworkPolicy& policy);

}  // namespace services
