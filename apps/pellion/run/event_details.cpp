#include "pellion/run/event_details.h"

#include <algorithm>

#include "pellion/document/application_description.h"
#include "pellion/text/redaction.h"
#include "pellion/text/text_width.h"

namespace pellion {
namespace {

using platform::Value;

std::string textOf(platform::ByteView bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

std::vector<NameAndValue> fieldsOf(const Value& pairs) {
  std::vector<NameAndValue> fields;
  for (const Value& pair : pairs.elements()) fields.emplace_back(pair.elements()[0].text(), pair.elements()[1].text());
  return fields;
}

/// What a request for the URL names in its first line: path and query.
std::string targetOf(std::string_view url) {
  url.remove_prefix(std::min(url.find("://") + 3, url.size()));
  url = url.substr(0, url.find('#'));
  url.remove_prefix(std::min(url.find_first_of("/?"), url.size()));
  return (url.starts_with('/') ? "" : "/") + std::string(url);
}

Value masked(const Value& text) { return maskedBearer(text.text()); }

/// A body that is no text stays bytes.
Value bodyText(const Value& body) {
  std::string text = textOf(body.bytes());
  return wellFormed(text) == text ? Value(text) : body;
}

Value fieldList(const Value& pairs) { return fieldDetails(fieldsOf(pairs)); }

Value resultWord(const Value& result) { return fetchResultName(static_cast<std::uint64_t>(result.integer())); }

Value optionWords(const Value& options) { return presentationNames(static_cast<std::uint64_t>(options.integer())); }

struct Change {
  std::string_view actor;
  std::string_view what;
  std::string_view entry;
  Value (*readable)(const Value& value);
};
constexpr Change changes[] = {
    {"module", "log", "text", masked},
    {"network", "answered", "headers", fieldList},
    {"network", "answered", "body", bodyText},
    {"platform", "fetched", "result", resultWord},
    {"platform", "presents", "options", optionWords},
};

}  // namespace

ReceivedRequest sentRequest(const Value& details, std::size_t number, const std::optional<std::string>& secret) {
  ReceivedRequest request{.number = number,
                          .method = std::string(details.find("method")->text()),
                          .target = targetOf(details.find("url")->text()),
                          .queryItems = {},
                          .headers = fieldsOf(*details.find("headers")),
                          .body = textOf(details.find("body")->bytes()),
                          .decodedBody = {}};
  request.decode(secret);
  return request;
}

Value readableDetails(const host::Event& event) {
  std::vector<Value::Entry> entries(event.details.entries().begin(), event.details.entries().end());
  for (const auto& [actor, what, name, readable] : changes) {
    const Value* const value = event.details.find(name);
    if (event.actor == actor && event.what == what && value != nullptr) entries.push_back({name, readable(*value)});
  }
  return Value::dictionary(entries);
}

}  // namespace pellion
