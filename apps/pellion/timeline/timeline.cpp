#include "pellion/timeline/timeline.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <utility>
#include <vector>

#include "pellion/text/text_width.h"
#include "pellion/timeline/text_lines.h"

namespace pellion {
namespace {

using platform::Value;

constexpr std::size_t timeWidth = 9;
constexpr std::size_t actorWidth = 12;
constexpr std::size_t largestEvent = 16'384;  // bytes; a few small events can unpack to a hundred screens

std::string timeText(std::chrono::nanoseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%*.3f", static_cast<int>(timeWidth),
                std::chrono::duration<double>(time).count());
  return text.data();
}

/// "14:03:07.123"
std::string timeOfDayText(std::chrono::nanoseconds sinceEpoch) {
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%H:%M:%S", &parts);
  std::snprintf(text.data() + size, text.size() - size, ".%03d", static_cast<int>(milliseconds % 1000));
  return text.data();
}

/// The pairs that are not in `last`, if `last` has the same names in the same order; otherwise nothing.
std::optional<Value> differing(const Value& pairs, const Value& last) {
  const auto now = pairs.elements();
  const auto before = last.elements();
  const auto hasSameName = [](const Value& left, const Value& right) {
    return left.elements()[0] == right.elements()[0];
  };
  if (!std::ranges::equal(now, before, hasSameName)) return std::nullopt;
  std::vector<Value> left;
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (now[i] != before[i]) left.push_back(now[i]);
  }
  return Value::list(left);
}

/// A request without the parts that equal those of the last request to the same path.
Value abridged(const Value& request, const Value& last) {
  if (last.isNull() || *last.find("path") != *request.find("path")) return request;
  std::vector<Value::Entry> entries(request.entries().begin(), request.entries().end());
  std::string same;
  const auto leaveOut = [&](const char* part, const Value& rest, const std::string& label) {
    entries.push_back({part, rest});
    same.append(same.empty() ? "" : ", ").append(label);
  };
  const Value& identity = *request.find("identity");
  if (!identity.isNull() && identity == *last.find("identity")) leaveOut("identity", nullptr, "from");
  for (const char* part : {"query", "headers"}) {
    const std::optional<Value> rest = differing(*request.find(part), *last.find(part));
    if (rest) leaveOut(part, *rest, std::string(rest->elements().empty() ? "" : "other ") + part);
  }
  if (!same.empty()) entries.push_back({"asBefore", same});
  return Value::dictionary(entries);
}

}  // namespace

void Timeline::operator()(const host::Event& event) {
  if (passesOver(event) || writeHeading(event)) return;
  std::string time = options_.withTimeOfDay ? timeOfDayText(event.time) : timeText(event.time);
  const std::size_t width = time.size();
  if (time == timeShown_ && !options_.withTimeOfDay) {
    time.assign(width, ' ');
  } else {
    timeShown_ = time;
  }
  std::string actor(event.actor);
  actor.resize(std::max(actorWidth, actor.size()), ' ');
  std::string text = painted(time, Ink::faint) + "  " + painted(actor, Ink::actor) + "  ";
  host::Event toShow = event;
  if (options_.abridges && (event.what == "request" || event.what == "sends")) {
    toShow.details = abridged(event.details, std::exchange(lastRequest_, event.details));
  }
  std::size_t left = largestEvent;
  std::size_t leftOut = 0;
  const auto writeLine = [&] {
    text.erase(text.find_last_not_of(' ') + 1);
    out_ << text << '\n';
    text.assign(width + 2 + actorWidth + 4, ' ');
  };
  for (const Line& line : linesOf(toShow)) {
    const bool isShown = leftOut == 0;
    for (const Span& span : line) {
      const std::string_view shown = beginning(span.text, left);
      text += painted(shown, span.ink);
      left = shown.size() < span.text.size() ? 0 : left - shown.size();
      leftOut += span.text.size() - shown.size();
    }
    if (isShown) writeLine();
  }
  if (leftOut > 0) {
    text += painted("\u2026 " + std::to_string(leftOut) + " more bytes", Ink::faint);
    writeLine();
  }
  out_.flush();
}

bool Timeline::passesOver(const host::Event& event) const {
  if (event.what == "log") return !options_.withLog;
  if (event.what == "synchronized") return true;  // follows the event of what was stored, at the same moment
  return event.actor == "network" && event.what != "failed" && !options_.withNetwork && !hasServer_;
}

bool Timeline::writeHeading(const host::Event& event) {
  if (event.actor != "scenario") return false;
  if (event.what == "begins") {
    timeShown_.clear();
    lastRequest_ = {};
    out_ << painted(textAt(event.details, "name"), Ink::strong);
    if (event.details.find("configuration") != nullptr) out_ << painted("  with the default configuration", Ink::faint);
    hasServer_ = event.details.find("server") != nullptr;
    if (hasServer_)
      out_ << painted("  with " + textAt(event.details, "server") + ", not the built-in backend", Ink::faint);
    out_ << '\n';
    if (const std::string text = textAt(event.details, "description"); !text.empty()) {
      out_ << painted(text, Ink::plain) << '\n';
    }
  } else if (event.what == "says") {
    out_ << '\n' << painted(textAt(event.details, "text"), Ink::strong) << '\n';
  } else if (event.what == "passed" || event.what == "failed") {
    const Line verdict = linesOf(event).front();
    out_ << '\n' << painted(verdict.front().text, verdict.front().ink) << "\n\n";
  } else {
    return false;
  }
  out_.flush();
  return true;
}

std::string Timeline::painted(std::string_view text, Ink ink) const {
  return pellion::painted(text, ink, options_.inColour);
}

bool isTerminal(int fileDescriptor) {
  const char* terminal = std::getenv("TERM");
  return isatty(fileDescriptor) == 1 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

bool wantsColour(int fileDescriptor) {
  const char* noColour = std::getenv("NO_COLOR");
  return (noColour == nullptr || *noColour == '\0') && isTerminal(fileDescriptor);
}

}  // namespace pellion
