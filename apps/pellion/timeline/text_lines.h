#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/value.h"

namespace pellion {

enum class Ink { plain, faint, strong, good, bad, actor };

/// A text for a terminal: its content cannot control the terminal, except that `ink` sets the colour.
std::string painted(std::string_view text, Ink ink, bool inColour);

struct Span {
  std::string text;
  Ink ink = Ink::plain;
};
using Line = std::vector<Span>;

// The parts that the texts of all events use.

using Lines = std::vector<Line>;
using Pairs = std::vector<std::pair<std::string, std::string>>;  ///< names and values

/// Null for absent.
const platform::Value& at(const platform::Value& details, std::string_view key);
/// A text unchanged, bytes in hexadecimal, anything else as JSON.
std::string textOf(const platform::Value& value);
std::string textAt(const platform::Value& details, std::string_view key);

std::string padded(std::string text, std::size_t width);
std::size_t widthOfNames(const Pairs& pairs);
Pairs entriesOf(const platform::Value& dictionary);

/// One line for each line of the text.
void appendText(Lines& lines, std::string_view text, Ink ink = Ink::plain);
/// Names and values in two columns under a title.
Lines pairsUnder(std::string_view title, const platform::Value& details);

}  // namespace pellion
