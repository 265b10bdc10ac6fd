#pragma once

#include "pellion/document/scenario.h"

namespace pellion {

extern const Shape backendShape;

/// Tells the built-in backend how to answer, or how to misbehave.
void backend(ScenarioRun& run, const JSONNode& behaviour);

}  // namespace pellion
