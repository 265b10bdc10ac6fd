#pragma once

#include <string_view>
#include <vector>

#include "pellion/backend/answer.h"
#include "pellion/document/scenario.h"

namespace pellion {

extern const Shape backendShape;

/// An answer for the next `times` requests.
struct ScriptedAnswer {
  Answer answer;
  std::size_t times = 1;
};

/// Reads a list of what the step may say, except "connection". Throws InputError with the place of what is wrong.
std::vector<ScriptedAnswer> readScript(std::string_view file, std::string_view text);

/// The answer that a backend step describes.
Answer answerOf(const JSONNode& behaviour);

/// Configures how the built-in backend answers or misbehaves.
void backend(ScenarioRun& run, const JSONNode& behaviour);

}  // namespace pellion
