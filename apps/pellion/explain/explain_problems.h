#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/explain/explain_payload.h"

namespace pellion {

/// Something about a payload: what a happening stopped at, or what deserves attention.
struct Problem {
  std::string code;  ///< for machines; docs/explain.md lists them
  Spot spot;
  std::string text;
  std::string remedy;
  std::string key = {};  ///< that is missing; that is misspelt or misplaced
};

// What is the matter with one thing that the module reads, told from the payload and from what the module's own
// functions answer when they are asked about it. All inside a process.

std::optional<Problem> addInfoProblem(const Payload& payload);
std::optional<Problem> idProblem(const Payload& payload);
std::optional<Problem> goalProblem(const Payload& payload);

/// A click action: nothing for one that the platform opens.
std::optional<Problem> linkProblem(const platform::Value& link, const Spot& spot);
/// The click actions of the notification and of its buttons: those that the platform does not open, and those that
/// lead elsewhere in applications linked before release 17.
std::vector<Problem> linkProblems(const Payload& payload);

/// The buttons by themselves.
std::vector<Problem> buttonProblems(const Payload& payload);
/// Why none is found for the identifier.
Problem missingButtonProblem(const Payload& payload, std::string_view identifier);
/// What buttons can be tapped, each once.
std::vector<std::string> buttonIdentifiers(const Payload& payload);

/// The path in the content of what the search finds as the click action of a button's element, if it finds one.
std::optional<JSONPath> buttonLinkPath(const Payload& payload, std::size_t button);
/// The first button with that identifier, as the module finds it.
std::optional<std::size_t> buttonIndex(const Payload& payload, std::string_view identifier);

/// A value for a sentence: `is "text"`, `is a list`.
std::string beingOf(const platform::Value& value);
std::string inQuotes(std::string_view text);

}  // namespace pellion
