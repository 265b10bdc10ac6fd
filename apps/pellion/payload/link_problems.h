#pragma once

#include <optional>

#include "pellion/payload/problem.h"

namespace pellion {

// The problems of click actions. Inside a process.

/// What keeps a click action from being opened; nothing for one that the platform opens.
std::optional<Problem> linkProblem(const Payload& payload, const platform::Value& link, const Spot& spot);
/// The problems of the click actions of the notification and of its buttons: those that the platform does not open, and
/// those that open something else than they seem to.
Problems linkProblems(const Payload& payload);

}  // namespace pellion
