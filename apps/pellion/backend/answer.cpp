#include "pellion/backend/answer.h"

#include <microhttpd.h>

#include <algorithm>

#include "value/ascii.h"

namespace pellion {
namespace {

using platform::Value;

template <class Words, class Enumeration>
Value word(const Words& words, Enumeration value) {
  return words[static_cast<std::size_t>(value)];
}

bool hasBody(const Answer& answer) {
  return answer.status != MHD_HTTP_NO_CONTENT && answer.status != MHD_HTTP_NOT_MODIFIED;
}

std::string wholeAnswer(const Answer& answer, std::string_view method) {
  std::vector<NameAndValue> fields = answer.headers;
  const auto isContentType = [](const NameAndValue& field) {
    return value::asciiLowercase(field.first) == "content-type";
  };
  if (std::ranges::none_of(fields, isContentType)) fields.insert(fields.begin(), {"Content-Type", "application/json"});
  const bool isLengthKnown = answer.endless != Answer::Endless::body && hasBody(answer);
  if (isLengthKnown) fields.emplace_back("Content-Length", std::to_string(answer.body.size()));
  fields.emplace_back("Connection", "close");  // one connection for each request, so that an answer can end in any way
  const char* const reason = MHD_get_reason_phrase_for(static_cast<unsigned>(answer.status));
  std::string text = "HTTP/1.1 " + std::to_string(answer.status) + ' ' + reason + "\r\n";
  for (const auto& [name, value] : fields) text.append(name).append(": ").append(value).append("\r\n");
  text += "\r\n";
  return hasBody(answer) && method != "HEAD" ? text + answer.body : text;
}

std::size_t lengthOf(Answer::Part part, std::size_t head, std::size_t whole) {
  switch (part) {
    case Answer::Part::nothing: return 0;
    case Answer::Part::halfTheHeaders: return head / 2;
    case Answer::Part::headers: return head;
    case Answer::Part::halfTheBody: return head + (whole - head) / 2;
    case Answer::Part::everything: break;
  }
  return whole;
}

}  // namespace

Value details(const Answer& answer, std::size_t requestNumber) {
  std::vector<Value::Entry> entries{{"number", requestNumber}};
  const bool answers = answer.sends != Answer::Part::nothing;
  if (answers && answer.raw) {
    entries.push_back({"raw", *answer.raw});
  } else if (answers) {
    std::vector<Value> headers;
    for (const auto& [name, value] : answer.headers) headers.push_back(Value::list({name, value}));
    entries.push_back({"status", answer.status});
    entries.push_back({"headers", Value::list(headers)});
    entries.push_back({"body", hasBody(answer) ? answer.body : ""});
  }
  entries.push_back({"delay", answer.delay.count()});
  const bool isWhole = answer.sends == Answer::Part::everything;
  if (!isWhole) entries.push_back({"sends", word(partWords, answer.sends)});
  if (!isWhole || answer.then != Answer::End::closes) entries.push_back({"then", word(endWords, answer.then)});
  if (answer.endless != Answer::Endless::nothing) entries.push_back({"endless", word(endlessWords, answer.endless)});
  if (answer.pace.count() > 0) entries.push_back({"pace", std::chrono::duration<double>(answer.pace).count()});
  return Value::dictionary(entries);
}

WireAnswer onWire(const Answer& answer, std::string_view method) {
  std::string bytes = answer.raw ? *answer.raw : wholeAnswer(answer, method);
  constexpr std::size_t largePart = 16'384;
  constexpr std::string_view blankLine = "\r\n\r\n";
  const std::size_t found = bytes.find(blankLine);
  const std::size_t head = found == std::string::npos ? bytes.size() : found + blankLine.size();
  if (answer.endless == Answer::Endless::headers) {
    bytes.resize(found == std::string::npos ? bytes.size() : found + 2);
    return {std::move(bytes), "X-Endless: " + std::string(largePart, 'x') + "\r\n"};
  }
  if (answer.endless == Answer::Endless::body) {
    const std::string_view body = std::string_view(bytes).substr(head);
    std::string part;
    while (part.size() < largePart) part += body.empty() ? "x" : body;
    return {std::move(bytes), std::move(part)};
  }
  bytes.resize(lengthOf(answer.sends, head, bytes.size()));
  return {std::move(bytes), {}};
}

}  // namespace pellion
