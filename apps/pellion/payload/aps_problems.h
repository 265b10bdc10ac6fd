#pragma once

#include "pellion/payload/problem.h"

namespace pellion {

/// What the platform itself reads of a payload, whatever the module does: the dictionary "aps", the target of a
/// simulator's file, and the request that carries the payload.
Problems apsProblems(const Payload& payload);

}  // namespace pellion
