#pragma once

#include <optional>
#include <string>

#include "pellion/backend/answer.h"
#include "pellion/backend/received_request.h"

namespace pellion {

/// What a strict server answers to a request that the module would not send, or that its credentials do not permit:
/// 404 for another path; 401 for a bearer token that is missing or not `bearer`, and for a body whose signature is not
/// verified; 415 for a body that is not what its header says. Nothing for a request that it accepts.
std::optional<Answer> refusal(const ReceivedRequest& request, const std::optional<std::string>& bearer);

}  // namespace pellion
