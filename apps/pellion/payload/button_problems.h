#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/payload/problem.h"

namespace pellion {

// What the module finds among a notification's buttons, and the problems of the buttons. Inside a process.

Problems buttonProblems(const Payload& payload);
/// Why no button is found for the identifier.
Problem missingButtonProblem(const Payload& payload, std::string_view identifier);
/// The identifiers of the buttons that can be tapped, each once.
std::vector<std::string> buttonIdentifiers(const Payload& payload);

/// The path in the content of the click action that the search finds for a button's element, if it finds one.
std::optional<JSONPath> buttonLinkPath(const Payload& payload, std::size_t button);
/// The first button with that identifier, as the module finds it.
std::optional<std::size_t> buttonIndex(const Payload& payload, std::string_view identifier);

}  // namespace pellion
