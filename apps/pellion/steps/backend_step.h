#pragma once

#include "pellion/document/scenario.h"

namespace pellion {

extern const Shape backendShape;

/// Configures how the built-in backend answers or misbehaves.
void backend(ScenarioRun& run, const JSONNode& behaviour);

}  // namespace pellion
