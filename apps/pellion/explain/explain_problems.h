#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/explain/explain_payload.h"

namespace pellion {

/// A problem of a payload: the reason why a happening stopped, or something that deserves attention.
struct Problem {
  std::string code;  ///< for machines; docs/explain.md lists them
  Spot spot;
  std::string text;
  std::string remedy;
  std::string key = {};  ///< a missing, misspelt or misplaced key
};

// Each function finds the problem of one thing that the module reads. It uses the payload and the results of the
// module's own functions. Call all of them inside a process.

std::optional<Problem> addInfoProblem(const Payload& payload);
std::optional<Problem> idProblem(const Payload& payload);
std::optional<Problem> goalProblem(const Payload& payload);

/// The problem of a click action; nothing for one that the platform opens.
std::optional<Problem> linkProblem(const platform::Value& link, const Spot& spot);
/// The problems of the click actions of the notification and of its buttons: those that the platform does not open, and
/// those that open another URL in applications linked before release 17.
std::vector<Problem> linkProblems(const Payload& payload);

/// The problems of the buttons themselves.
std::vector<Problem> buttonProblems(const Payload& payload);
/// Why no button is found for the identifier.
Problem missingButtonProblem(const Payload& payload, std::string_view identifier);
/// The identifiers of the buttons that can be tapped, each once.
std::vector<std::string> buttonIdentifiers(const Payload& payload);

/// The path in the content of the click action that the search finds for a button's element, if it finds one.
std::optional<JSONPath> buttonLinkPath(const Payload& payload, std::size_t button);
/// The first button with that identifier, as the module finds it.
std::optional<std::size_t> buttonIndex(const Payload& payload, std::string_view identifier);

/// Describes a value in a sentence: `is "text"`, `is a list`.
std::string beingOf(const platform::Value& value);
std::string inQuotes(std::string_view text);

}  // namespace pellion
