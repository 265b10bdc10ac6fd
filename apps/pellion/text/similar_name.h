#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pellion {

// For names that a person has misspelt.

/// The number of insertions, deletions, replacements and swaps of neighbours that change one into the other.
std::size_t editDistance(std::string_view from, std::string_view to);

/// Whether `name` was probably meant to be `known`: the same except for capitals, separators and a slip or two.
bool looksLike(std::string_view name, std::string_view known);

/// The most similar of the known names, if one is similar at all.
std::optional<std::string_view> similarName(std::string_view name, std::span<const std::string_view> known);

/// The remedy in an error about an unknown name, with all names in alphabetical order:
/// "did you mean "launch"? The steps are "activate", "launch"", or "the steps are "activate", "launch"".
std::string remedyForName(std::string_view name, std::vector<std::string_view> known, std::string_view introduction,
                          std::string_view quote = "\"");

/// An error's text, its long lists of names broken into indented lines.
std::string withWrappedNames(std::string_view error);

}  // namespace pellion
