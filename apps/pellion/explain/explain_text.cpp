// What a payload leads to as a table for people: one block for all happenings with the same outcome.

#include <algorithm>
#include <utility>

#include "pellion/explain/explain.h"
#include "pellion/text/text_width.h"
#include "pellion/timeline/text_lines.h"

namespace pellion {
namespace {

using platform::Value;
using Kind = Happening::Kind;
using State = Outcome::State;

constexpr std::size_t longestValue = 72;  // of a text from the payload, in bytes

constexpr const char* legend =
    "Only a response opens anything and sets a goal. A badge is stored when the application sets it, not when a "
    "payload carries one. Whatever the payload: a tap on a button that it does not describe raises, and so does a "
    "dismissal, which an application receives only if it asks for that. Requests carry the statuses as numbers: 4 "
    "delivered, 5 responded, 6 converted.";

std::string elided(std::string_view text) {
  return text.size() <= longestValue ? std::string(text) : std::string(beginning(text, longestValue)) + "\u2026";
}

std::string headingOf(const Happening& happening) {
  switch (happening.kind) {
    case Kind::foreground: return "delivered in the foreground";
    case Kind::background: return "delivered in the background";
    case Kind::tap: return "tapped";
    case Kind::button: return "button " + elided(inQuotes(happening.name)) + " tapped";
    case Kind::unknownButton: return "unknown button " + elided(inQuotes(happening.name)) + " tapped";
    case Kind::dismissal: return "dismissed";
    case Kind::goal: break;
  }
  return happening.name.empty() ? "its goal reached"
                                : "its goal reached, reported as " + elided(inQuotes(happening.name));
}

/// "delivered (status 4), notificationid 41"
std::string entryText(const Value& entry) {
  std::string text = nameOfStatus(at(entry, "status")) + " (status " + textAt(entry, "status") + ")";
  for (const Value::Entry& field : entry.entries()) {
    if (field.key == Value("status") || field.key == Value("timestamp")) continue;
    const std::string value = field.value.ifString() ? inQuotes(field.value.text()) : textOf(field.value);
    text += ", " + std::string(field.key.text()) + " " + elided(value);
  }
  return text;
}

/// A text as lines of at most `width` columns; a word longer than that stays whole.
std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines{""};
  while (!text.empty()) {
    const std::string word(text.substr(0, text.find(' ')));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    if (!lines.back().empty() && columns(lines.back()) + 1 + columns(word) > width) lines.emplace_back();
    lines.back() += (lines.back().empty() ? "" : " ") + word;
  }
  return lines;
}

SummaryLine summaryOf(const Happening& happening) {
  std::string heading = headingOf(happening);
  if (happening.raised) {
    const bool isCounted = !happening.recorded.results.empty();
    return {std::move(heading),
            std::string(isCounted ? "recorded, then" : "not recorded:") + " raises " + happening.raised->name, false};
  }
  if (happening.recorded.results.empty()) {
    return {std::move(heading), "not recorded: " + happening.recorded.why, false};
  }
  std::string text = "recorded";
  const bool fails = happening.opened.state == State::stopped;
  for (const Value& url : happening.opened.results) text += ", opens " + elided(textOf(url));
  for (const Value& goal : happening.goal.results) text += ", waits for the goal " + elided(textOf(goal));
  if (fails) text += ", opens nothing: " + happening.opened.why;  // last, for it may be sentences
  return {std::move(heading), std::move(text), !fails};
}

struct Row {
  const char* label;
  const char* mark;
  std::string text;
  Ink ink;
  [[nodiscard]] bool says(const Row& other) const { return ink == other.ink && text == other.text; }
  bool operator==(const Row&) const = default;
};

class Table {
 public:
  Table(std::ostream& out, const TextLayout& layout)
      : out_(out), inColour_(layout.inColour), width_(std::max<std::size_t>(layout.width, 40)) {}

  void write(const Explanation& explanation) {
    writeSize(explanation);
    const auto& happenings = explanation.happenings;
    for (std::size_t i = 0; i < happenings.size();) {
      const std::vector<Row> rows = rowsOf(happenings[i]);
      std::string heading = headingOf(happenings[i]);
      while (++i < happenings.size() && rowsOf(happenings[i]) == rows) heading += ", " + headingOf(happenings[i]);
      out_ << '\n';
      writeWrapped("", heading, Ink::strong);
      writeRows(rows);
    }
    out_ << '\n';
    writeWrapped("", legend, Ink::faint);
  }

  /// One line for all happenings with the same short outcome.
  void summarize(const Explanation& explanation) {
    writeSize(explanation);
    for (const SummaryLine& line : summaryOf(explanation)) {
      if (line.happenings.empty()) {
        writeWrapped("  ", line.outcome, Ink::faint);
        continue;
      }
      writeWrapped("  ", line.happenings, Ink::strong);
      writeWrapped(line.isGood ? "    ✓ " : "    ✗ ", line.outcome, line.isGood ? Ink::good : Ink::bad);
    }
  }

 private:
  static std::vector<Row> rowsOf(const Happening& happening) {
    std::vector<Row> rows;
    const auto add = [&](const char* label, const Outcome& outcome, const auto& shown) {
      for (const Value& result : outcome.results) rows.push_back({label, "✓ ", shown(result), Ink::good});
      const bool isExpected = outcome.state == Outcome::State::notAskedFor;
      if (isExpected) rows.push_back({label, "– ", outcome.why, Ink::faint});
      if (outcome.state == Outcome::State::stopped) {
        rows.push_back({label, "✗ ", "stops at \"" + outcome.step + "\": " + outcome.why, Ink::bad});
      }
    };
    const auto plain = [](const Value& value) { return elided(textOf(value)); };
    if (!happening.note.empty()) rows.push_back({"but", "– ", happening.note, Ink::faint});
    add("recorded", happening.recorded, entryText);
    add("opens", happening.opened, plain);
    add("handler", happening.openedByHandler, plain);
    add("goal", happening.goal, plain);
    add("badge", happening.badge, plain);
    if (happening.raised) {
      rows.push_back({"raises", "✗ ", happening.raised->name + ": " + happening.raised->reason, Ink::bad});
    }
    return rows;
  }

  void writeRows(const std::vector<Row>& rows) {
    constexpr std::size_t labelWidth = 10;
    for (const Row& row : rows) {
      const auto same = std::ranges::find_if(rows, [&](const Row& each) { return each.says(row); });
      const bool isSaid = &*same != &row && row.ink == Ink::bad;
      out_ << "  " << painted(padded(row.label, labelWidth), Ink::actor) << painted(row.mark, row.ink);
      const std::string text = isSaid ? "as " + std::string(same->label) : row.text;
      const auto lines = wrapped(text, width_ - labelWidth - 4);
      for (const std::string& line : lines) {
        if (&line != &lines.front()) out_ << std::string(labelWidth + 4, ' ');
        out_ << painted(line, isSaid ? Ink::faint : row.ink) << '\n';
      }
    }
  }

  void writeSize(const Explanation& explanation) {
    out_ << painted(explanation.file, Ink::strong) << ": " << explanation.size << " bytes of " << explanation.limit
         << '\n';
  }

  void writeWrapped(const std::string& indentation, const std::string& text, Ink ink) {
    const std::size_t width = columns(indentation);
    const auto lines = wrapped(text, width_ - width);
    for (const std::string& line : lines) {
      out_ << (&line == &lines.front() ? indentation : std::string(width, ' ')) << painted(line, ink) << '\n';
    }
  }

  [[nodiscard]] std::string painted(std::string_view text, Ink ink) const {
    return pellion::painted(text, ink, inColour_);
  }

  std::ostream& out_;
  bool inColour_;
  std::size_t width_;
};

}  // namespace

std::vector<SummaryLine> summaryOf(const Explanation& explanation) {
  std::vector<SummaryLine> lines;
  for (const Happening& happening : explanation.happenings) {
    const bool isShown = happening.isDescribed() || (happening.kind == Kind::goal && !happening.name.empty());
    if (!isShown || !happening.note.empty()) continue;
    SummaryLine line = summaryOf(happening);
    if (!lines.empty() && lines.back().outcome == line.outcome && lines.back().isGood == line.isGood) {
      lines.back().happenings += ", " + line.happenings;
    } else {
      lines.push_back(std::move(line));
    }
  }
  if (lines.empty()) lines.push_back({"", "the platform neither presents it nor wakes the application", false});
  return lines;
}

void writeFindings(std::ostream& out, const Explanation& explanation, const TextLayout& layout) {
  const auto write = [&](std::string_view text, Ink ink) { out << painted(text, ink, layout.inColour); };
  for (const Finding& finding : explanation.findings) {
    write(placeText(explanation.file, finding.place.position) + ": ", Ink::actor);
    write(std::string(nameOf(finding.level)) + ": ", finding.level == Level::error ? Ink::bad : Ink::strong);
    write(finding.text + "; " + finding.remedy, Ink::plain);
    write(" [" + finding.code + "]", Ink::faint);
    out << '\n';
  }
}

void writeSummary(std::ostream& out, const Explanation& explanation, const TextLayout& layout) {
  Table(out, layout).summarize(explanation);
}

void writeAccount(std::ostream& out, const Explanation& explanation, const TextLayout& layout) {
  Table(out, layout).write(explanation);
}

}  // namespace pellion
