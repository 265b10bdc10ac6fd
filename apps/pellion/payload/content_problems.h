#pragma once

#include <optional>

#include "pellion/payload/problem.h"

namespace pellion {

// The problems of addInfo itself, of the notification's id and of its goal. Each function uses the payload and the
// results of the module's own functions. Call all of them inside a process.

std::optional<Problem> addInfoProblem(const Payload& payload);
std::optional<Problem> idProblem(const Payload& payload);
std::optional<Problem> goalProblem(const Payload& payload);

}  // namespace pellion
