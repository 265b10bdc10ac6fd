#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/event.h"

namespace pellion {

enum class Ink { plain, faint, strong, good, bad, actor };

/// A text for a terminal: nothing that it holds steers the terminal but its ink.
std::string painted(std::string_view text, Ink ink, bool inColour);

struct Span {
  std::string text;
  Ink ink = Ink::plain;
};
using Line = std::vector<Span>;

/// What a timeline says of an event: a first line for what happened, under it what belongs to it. Nothing for events
/// that go without saying.
std::vector<Line> linesOf(const host::Event& event);

}  // namespace pellion
