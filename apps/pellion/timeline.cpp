#include "pellion/timeline.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include "pellion/printable.h"

namespace pellion {
namespace {

constexpr std::size_t timeWidth = 9;
constexpr std::size_t actorWidth = 12;

std::string timeText(std::chrono::nanoseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%*.3f", static_cast<int>(timeWidth),
                std::chrono::duration<double>(time).count());
  return text.data();
}

std::string textAt(const platform::Value& details, std::string_view key) {
  const platform::Value* value = details.find(key);
  return value == nullptr ? std::string() : std::string(value->text());
}

}  // namespace

void Timeline::operator()(const host::Event& event) {
  if (passesOver(event) || writeHeading(event)) return;
  std::string time = timeText(event.time);
  if (time == timeShown_) {
    time.assign(timeWidth, ' ');
  } else {
    timeShown_ = time;
  }
  std::string actor(event.actor);
  actor.resize(std::max(actorWidth, actor.size()), ' ');
  std::string text = painted(time, Ink::faint) + "  " + painted(actor, Ink::actor) + "  ";
  for (const Line& line : linesOf(event)) {
    for (const Span& span : line) text += painted(span.text, span.ink);
    text.erase(text.find_last_not_of(' ') + 1);
    out_ << text << '\n';
    text.assign(timeWidth + 2 + actorWidth + 4, ' ');
  }
  out_.flush();
}

bool Timeline::passesOver(const host::Event& event) const {
  if (event.what == "log") return !options_.withLog;
  return event.actor == "network" && event.what != "failed" && !options_.withNetwork;
}

bool Timeline::writeHeading(const host::Event& event) {
  if (event.actor != "scenario") return false;
  if (event.what == "begins") {
    timeShown_.clear();
    out_ << painted(textAt(event.details, "name"), Ink::strong) << '\n';
    if (const std::string text = textAt(event.details, "description"); !text.empty()) {
      out_ << painted(text, Ink::plain) << '\n';
    }
  } else if (event.what == "says") {
    out_ << '\n' << painted(textAt(event.details, "text"), Ink::strong) << '\n';
  } else if (event.what == "passed" || event.what == "failed") {
    const bool hasPassed = event.what == "passed";
    out_ << '\n'
         << painted((hasPassed ? "✓ " : "✗ ") + textAt(event.details, "name"), hasPassed ? Ink::good : Ink::bad)
         << "\n\n";
  } else {
    return false;
  }
  out_.flush();
  return true;
}

std::string Timeline::painted(std::string_view text, Ink ink) const {
  constexpr std::array<const char*, 6> codes{"",         "\x1b[2m",  "\x1b[1m",
                                             "\x1b[32m", "\x1b[31m", "\x1b[36m"};  // in Ink's order
  const bool isBlank = text.find_first_not_of(' ') == std::string_view::npos;
  if (!options_.inColour || ink == Ink::plain || isBlank) return printable(text);
  return codes[static_cast<std::size_t>(ink)] + printable(text) + "\x1b[0m";
}

bool wantsColour(int fileDescriptor) {
  const char* noColour = std::getenv("NO_COLOR");
  if (noColour != nullptr && *noColour != '\0') return false;
  const char* terminal = std::getenv("TERM");
  return isatty(fileDescriptor) == 1 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

}  // namespace pellion
