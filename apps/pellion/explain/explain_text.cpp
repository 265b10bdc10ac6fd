// What a payload leads to as a table for people: one block for all happenings with the same outcome.

#include <algorithm>
#include <array>
#include <utility>

#include "pellion/document/text_width.h"
#include "pellion/explain/explain.h"
#include "pellion/timeline/text_lines.h"

namespace pellion {
namespace {

using platform::Value;
using Kind = Happening::Kind;

constexpr std::size_t widest = 100;
constexpr std::size_t longestValue = 72;  // of a text from the payload, in bytes

constexpr const char* legend =
    "Only a response opens anything and sets a goal. A badge is stored when the application sets it, not when a "
    "payload carries one. Whatever the payload: a tap on a button that it does not describe raises, and so does a "
    "dismissal, which an application hears of only if it asks for that.";

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

/// "delivered, notificationid 41"
std::string entryText(const Value& entry) {
  constexpr std::array<const char*, 3> names{"delivered", "responded", "converted"};
  const std::int64_t status = at(entry, "status").integer() - 4;
  std::string text = status >= 0 && status < 3 ? names.at(static_cast<std::size_t>(status)) : textAt(entry, "status");
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
  Table(std::ostream& out, bool inColour) : out_(out), inColour_(inColour) {}

  void write(const Explanation& explanation) {
    out_ << painted(explanation.file, Ink::strong) << ": " << explanation.size << " bytes of "
         << Explanation::largestPayload << '\n';
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
    out_ << '\n';
    if (explanation.findings.empty()) {
      out_ << painted("✓ Nothing deserves attention.", Ink::good) << '\n';
      return;
    }
    writeVerdict(happenings);
    writeWrapped("", "What deserves attention", Ink::strong);
    for (const Finding& finding : explanation.findings) writeFinding(explanation.file, finding);
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
      const auto lines = wrapped(text, widest - labelWidth - 4);
      for (const std::string& line : lines) {
        if (&line != &lines.front()) out_ << std::string(labelWidth + 4, ' ');
        out_ << painted(line, isSaid ? Ink::faint : row.ink) << '\n';
      }
    }
  }

  void writeVerdict(const std::vector<Happening>& happenings) {
    std::string uncounted;
    for (const Happening& happening : happenings) {
      if (!happening.isDescribed() || happening.isCounted() || !happening.note.empty()) continue;
      uncounted += (uncounted.empty() ? "" : ", ") + headingOf(happening);
    }
    if (uncounted.empty()) return;
    writeWrapped("✗ ", "Not counted: " + uncounted, Ink::bad);
    out_ << '\n';
  }

  void writeFinding(const std::string& file, const Finding& finding) {
    const Place& place = finding.place;
    out_ << '\n' << painted(placeText(file, place.position), Ink::actor) << "  " << painted(place.path, Ink::plain);
    if (place.inText) {
      out_ << painted(", in its text ", Ink::faint);
      if (const auto& position = place.inText->position) {
        out_ << position->line << ':' << position->column << "  ";
      }
      out_ << painted(place.inText->path, Ink::plain);
    }
    out_ << '\n';
    writeWrapped("  ", finding.text, Ink::bad);
    writeWrapped("  → ", finding.remedy, Ink::plain);
  }

  void writeWrapped(const std::string& indentation, const std::string& text, Ink ink) {
    const std::size_t width = columns(indentation);
    const auto lines = wrapped(text, widest - width);
    for (const std::string& line : lines) {
      out_ << (&line == &lines.front() ? indentation : std::string(width, ' ')) << painted(line, ink) << '\n';
    }
  }

  [[nodiscard]] std::string painted(std::string_view text, Ink ink) const {
    return pellion::painted(text, ink, inColour_);
  }

  std::ostream& out_;
  bool inColour_;
};

}  // namespace

void writeText(std::ostream& out, const Explanation& explanation, bool inColour) {
  Table(out, inColour).write(explanation);
}

}  // namespace pellion
