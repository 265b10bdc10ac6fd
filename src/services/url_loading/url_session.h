#pragma once

#include <memory>

#include "platform/url_session.h"

namespace services {

class RequestOwner;

/// A session over libcurl with the default configuration. The owner outlives its tasks: Network::endRequests waits.
std::shared_ptr<platform::URLSession> makeURLSession(RequestOwner& owner);

}  // namespace services
