#include "pellion/timeline/event_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "pellion/text/json_writer.h"
#include "pellion/text/text_width.h"
#include "pellion/timeline/event_text_table.h"
#include "pellion/timeline/reason_text.h"
#include "pellion/timeline/statistics_text.h"
#include "pellion/timeline/text_lines.h"

namespace pellion {
namespace {

using platform::Value;
Span label(const std::string& text) { return {padded(text, 10), Ink::faint}; }

/// Names and values in two columns after a label that is written once.
void appendPairs(Lines& lines, const std::string& title, const Pairs& pairs, std::size_t width) {
  for (const auto& pair : pairs) {
    lines.push_back({label(&pair == &pairs.front() ? title : ""),
                     {padded(printable(pair.first), width) + "  ", Ink::faint},
                     {pair.second}});
  }
}

Pairs pairsOf(const Value& list) {
  Pairs pairs;
  for (const Value& pair : list.elements()) pairs.emplace_back(pair.elements()[0].text(), pair.elements()[1].text());
  return pairs;
}

/// The fields that any HTTP client adds, in as few lines as possible, because they are seldom of interest.
void appendTransportFields(Lines& lines, const Pairs& fields) {
  constexpr std::size_t widest = 80;
  std::string text;
  bool isFirst = true;
  const auto flush = [&] {
    if (!text.empty()) lines.push_back({label(std::exchange(isFirst, false) ? "transport" : ""), {text, Ink::faint}});
    text.clear();
  };
  for (const auto& [name, value] : fields) {
    const std::string field = printable(name).append(": ").append(printable(value));
    if (!text.empty() && columns(text) + columns(field) > widest) flush();
    text.append(text.empty() ? "" : "   ").append(field);
  }
  flush();
}

bool isTransportField(const std::pair<std::string, std::string>& field) {
  constexpr std::string_view names[] = {
      "Host",       "Accept",         "Accept-Encoding", "Accept-Language",  "User-Agent",
      "Connection", "Content-Length", "Expect",          "Transfer-Encoding"};
  return std::ranges::find(names, field.first) != std::end(names);
}

void appendBody(Lines& lines, const Value& body) {
  if (body.isNull()) return lines.push_back({label("body"), {"none", Ink::faint}});
  Lines content;
  for (const Value& step : at(body, "decoding").elements()) {
    const bool hasFailed = at(step, "failed") == Value(true);
    content.push_back({{hasFailed ? "✗ " : "✓ ", hasFailed ? Ink::bad : Ink::good},
                       {textAt(step, "text"), hasFailed ? Ink::bad : Ink::plain}});
  }
  if (const Value* json = body.find("json")) {
    appendText(content, prettyJSON(*json));
  } else if (!textAt(body, "content").empty()) {
    appendText(content, textAt(body, "content"));
  }
  for (Line& line : content) {
    line.insert(line.begin(), label(&line == &content.front() ? "body" : ""));
    lines.push_back(std::move(line));
  }
}

Lines request(const Value& details) {
  Lines lines{{{textAt(details, "method"), Ink::strong}, {" " + textAt(details, "path"), Ink::strong}}};
  if (const Value& identity = at(details, "identity"); !identity.isNull()) {
    lines.push_back({label("from"), {textAt(identity, "kind") + " " + textAt(identity, "id")}});
  }
  const Pairs query = pairsOf(at(details, "query"));
  Pairs headers = pairsOf(at(details, "headers"));
  const auto transport = std::stable_partition(headers.begin(), headers.end(), std::not_fn(isTransportField));
  const Pairs transportFields(transport, headers.end());
  headers.erase(transport, headers.end());
  const std::size_t width = std::max(widthOfNames(query), widthOfNames(headers));
  appendPairs(lines, "query", query, width);
  appendPairs(lines, "headers", headers, width);
  if (details.find("asBefore") != nullptr)
    lines.push_back({label("as before"), {textAt(details, "asBefore"), Ink::faint}});
  appendTransportFields(lines, transportFields);
  appendBody(lines, at(details, "body"));
  return lines;
}

/// "1 d 2 h 0.5 s"
std::string durationText(const Value& seconds) {
  constexpr std::pair<std::int64_t, const char*> units[] = {{86400, " d "}, {3600, " h "}, {60, " min "}};
  double rest = seconds.floating() + static_cast<double>(seconds.integer());
  std::string text;
  for (const auto& [length, name] : units) {
    const auto count = static_cast<std::int64_t>(rest) / length;
    if (count > 0) text += std::to_string(count) + name;
    rest -= static_cast<double>(count * length);
  }
  if (rest == 0 && !text.empty()) return text.substr(0, text.size() - 1);
  std::array<char, 32> digits{};
  std::snprintf(digits.data(), digits.size(), "%.9g s", rest);
  return text + digits.data();
}

/// "sends half the body, then resets the connection"; empty for a regular answer.
std::string misbehaviour(const Value& details) {
  std::string text;
  const auto add = [&](const std::string& part) { text.append(text.empty() ? "" : ", ").append(part); };
  if (const Value* pace = details.find("pace")) add("takes " + durationText(*pace) + " for each byte");
  if (const Value* endless = details.find("endless")) {
    add(std::string("sends ") + (*endless == Value("body") ? "a body" : "headers") + " without end");
  }
  if (const Value* part = details.find("sends")) add("sends " + textOf(*part));
  if (const Value* then = details.find("then")) {
    add("then " + textOf(*then) + (*then == Value("waits") ? "" : " the connection"));
  }
  return text;
}

Lines answer(const Value& details) {
  const std::int64_t delay = at(details, "delay").integer();
  const std::string when = delay > 0 ? " after " + std::to_string(delay) + " ms" : "";
  const std::string but = misbehaviour(details);
  Lines lines;
  if (const Value* raw = details.find("raw")) {
    lines = {{{"responds with raw bytes" + when}}};
    appendText(lines, textOf(*raw));
  } else if (details.find("status") == nullptr) {
    return {{{but + when, Ink::bad}}};
  } else {
    const bool isGood = at(details, "status").integer() < 300;
    lines = {{{"responds with "},
              {textAt(details, "status"), isGood ? Ink::good : Ink::bad},
              {when},
              {"  " + textAt(details, "body")}}};
    const Pairs headers = pairsOf(at(details, "headers"));
    appendPairs(lines, "headers", headers, widthOfNames(headers));
  }
  if (!but.empty()) lines.push_back({label("but"), {but, Ink::bad}});
  return lines;
}

Lines configured(const Value& details) {
  if (const Value* connection = details.find("connection")) {
    return {{{"from now on, its connections are " + textOf(*connection)}}};
  }
  const std::int64_t times = at(details, "times").integer();
  Lines lines{{{times == 0   ? "will respond from now on with:"
                : times == 1 ? "will respond to the next request with:"
                             : "will respond to the next " + std::to_string(times) + " requests with:"}}};
  for (const auto& [name, value] : entriesOf(details)) {
    if (name == "times") continue;
    lines.front().push_back({"  " + name, Ink::faint});
    lines.front().push_back({" " + value});
  }
  if (lines.front().size() == 1) lines.front().push_back({"  the usual response"});
  return lines;
}

Lines stored(const Value& details) {
  return {{{"stores "}, {textAt(details, "key")}}, {{textAt(details, "data"), Ink::good}}};
}

Lines token(const Value& details) {
  const Value& token = at(details, "token");
  if (token.isNull()) return {{{"delivers no device token"}}};
  return {{{"delivers the device token"}}, {{textAt(details, "token"), Ink::good}}};
}

Lines registrationFailed(const Value& details) {
  return {{{"reports that registration failed: "}, {textAt(details, "error"), Ink::bad}}};
}

Lines consent(const Value& details) { return pairsUnder("changes consent", details); }
Lines configures(const Value& details) { return pairsUnder("changes the configuration", details); }

Lines passed(const Value& details) { return {{{"✓ " + textAt(details, "name"), Ink::good}}}; }
Lines failed(const Value& details) { return {{{"✗ " + textAt(details, "name"), Ink::bad}}}; }

Lines rejected(const Value& details) {
  return {{{"receives a rejected response for the " + textAt(details, "identity") + ": "}, {textAt(details, "json")}}};
}

Lines log(const Value& details) {
  Lines lines;
  appendText(lines, textAt(details, "text"), Ink::faint);
  lines.front().insert(lines.front().begin(), {textAt(details, "tag") + "  ", Ink::faint});
  return lines;
}

Lines met(const Value& details) { return {{{"✓ ", Ink::good}, {textAt(details, "checked")}}}; }

/// Side by side if that fits a usual line; otherwise one below the other, which also shows differences.
Lines unmet(const Value& details) {
  constexpr std::size_t widest = 44;
  Lines lines{{{"✗ ", Ink::bad}, {textAt(details, "place"), Ink::bad}}};
  std::array<std::size_t, 2> widths{0, columns("wanted")};
  bool fits = true;
  const auto cell = [](const Value& row, const char* key) { return printable(textAt(row, key)); };
  const auto rows = at(details, "mismatches").elements();
  for (const Value& row : rows) {
    widths[0] = std::max(widths[0], columns(cell(row, "place")));
    widths[1] = std::max(widths[1], columns(cell(row, "wanted")));
    fits = fits && columns(cell(row, "wanted")) <= widest && columns(cell(row, "found")) <= widest;
  }
  if (fits) lines.push_back({{padded("", widths[0]) + "  " + padded("wanted", widths[1]) + "  found", Ink::faint}});
  for (const Value& row : rows) {
    if (fits) {
      lines.push_back({{padded(cell(row, "place"), widths[0]) + "  "},
                       {padded(cell(row, "wanted"), widths[1]) + "  ", Ink::good},
                       {cell(row, "found"), Ink::bad}});
    } else {
      lines.push_back({{cell(row, "place")}});
      lines.push_back({{"  wanted  ", Ink::faint}, {cell(row, "wanted"), Ink::good}});
      lines.push_back({{"  found   ", Ink::faint}, {cell(row, "found"), Ink::bad}});
    }
  }
  return lines;
}

Lines launched(const Value& /*details*/) { return {{{"launches"}}}; }
Lines ended(const Value& /*details*/) { return {{{"ends"}}}; }
Lines advances(const Value& details) { return {{{"advances by " + durationText(at(details, "seconds"))}}}; }
Lines networkSends(const Value& details) {
  Lines lines = request(details);
  lines.front().insert(lines.front().begin(), {"sends "});
  return lines;
}
Lines networkRedirected(const Value& details) {
  return {{{"is redirected by the response "}, {textAt(details, "status") + " to " + textAt(details, "url")}}};
}
Lines networkFailed(const Value& details) {
  const bool isSent = at(details, "isSent") == Value(true);
  const std::string url = textAt(details, "url");
  const std::string what = textAt(details, "method") + " " + url.substr(0, url.find('?'));
  return {{{isSent ? "fails: " : "does not send " + what + ": "},
           {textAt(details, "error") + " (" + textAt(details, "code") + ")", Ink::bad}}};
}
Lines networkAnswered(const Value& details) {
  const bool isGood = at(details, "status").integer() < 300;
  Lines lines{{{"receives the response "}, {textAt(details, "status"), isGood ? Ink::good : Ink::bad}}};
  lines.front().push_back({"  " + textAt(details, "body")});
  return lines;
}

constexpr EventText otherTexts[] = {
    {"app", "launched", launched},
    {"app", "ended", ended},
    {"module", "blocked", blocked},
    {"module", "not accepted", notAccepted},
    {"platform", "blocked", blocked},
    {"platform", "token", token},
    {"platform", "registration failed", registrationFailed},
    {"user", "consent", consent},
    {"scenario", "configures", configures},
    {"scenario", "warning", warning},
    {"scenario", "passed", passed},
    {"scenario", "failed", failed},
    {"clock", "advances", advances},
    {"backend", "request", request},
    {"backend", "answer", answer},
    {"backend", "configured", configured},
    {"keychain", "stored", stored},
    {"core library", "rejected response", rejected},
    {"module", "log", log},
    {"expectation", "met", met},
    {"expectation", "failed", unmet},
    {"network", "sends", networkSends},
    {"network", "redirected", networkRedirected},
    {"network", "failed", networkFailed},
    {"network", "answered", networkAnswered},
};

Lines rowOf(const host::Event& event) {
  for (const std::span<const EventText> rows :
       {applicationTexts(), notificationTexts(), std::span<const EventText>(otherTexts)}) {
    const auto row = std::ranges::find_if(
        rows, [&](const EventText& each) { return each.actor == event.actor && each.what == event.what; });
    if (row != rows.end()) return row->text(event.details);
  }
  // An event without a row is shown in this general form.
  return pairsUnder(event.what, event.details);
}

}  // namespace

Lines linesOf(const host::Event& event) {
  Lines lines = rowOf(event);
  appendStatistics(lines, event.details);
  return lines;
}

}  // namespace pellion
