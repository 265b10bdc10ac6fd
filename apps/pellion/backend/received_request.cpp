#include "pellion/backend/received_request.h"

#include <strings.h>

#include <algorithm>
#include <charconv>

#include "pellion/text/redaction.h"

namespace pellion {
namespace {

using platform::Value;

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  while (!text.empty()) {
    unsigned byte = 0;
    const char* digits = text.data() + 1;
    if (text.front() == '%' && text.size() >= 3 && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      decoded += static_cast<char>(byte);
      text.remove_prefix(3);
    } else {
      decoded += text.front();
      text.remove_prefix(1);
    }
  }
  return decoded;
}

bool equalWithoutCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

/// Whether a field contains credentials.
bool isSecret(std::string_view field) {
  constexpr std::string_view fields[] = {"Authorization", "Proxy-Authorization", "Cookie", "Set-Cookie"};
  return std::ranges::any_of(fields, [field](std::string_view name) { return equalWithoutCase(field, name); });
}

Value identity(const ReceivedRequest& request) {
  constexpr std::pair<const char*, const char*> kinds[] = {{"deviceid", "device"}, {"anondeviceid", "anonymous user"}};
  for (const auto& [item, kind] : kinds) {
    if (const std::string* id = request.findQueryItem(item)) return Value::dictionary({{"kind", kind}, {"id", *id}});
  }
  return {};
}

Value bodyDetails(const DecodedBody& body, std::size_t size) {
  std::vector<Value> steps;
  steps.reserve(body.steps.size());
  for (const auto& [text, failed] : body.steps)
    steps.push_back(Value::dictionary({{"text", text}, {"failed", failed}}));
  return Value::dictionary({{"bytes", size},
                            {"decoding", Value::list(steps)},
                            body.json ? Value::Entry{"json", *body.json} : Value::Entry{"content", body.content}});
}

template <class Equal>
const std::string* findIn(const std::vector<NameAndValue>& items, Equal isWanted) {
  const auto item = std::ranges::find_if(items, isWanted, &NameAndValue::first);
  return item == items.end() ? nullptr : &item->second;
}

}  // namespace

std::string_view ReceivedRequest::path() const { return std::string_view(target).substr(0, target.find('?')); }

std::string_view ReceivedRequest::query() const {
  const std::size_t mark = target.find('?');
  return mark == std::string_view::npos ? std::string_view() : std::string_view(target).substr(mark + 1);
}

const std::string* ReceivedRequest::findHeader(std::string_view name) const {
  return findIn(headers, [name](const std::string& field) { return equalWithoutCase(field, name); });
}

const std::string* ReceivedRequest::findQueryItem(std::string_view name) const {
  return findIn(queryItems, [name](const std::string& item) { return item == name; });
}

void ReceivedRequest::decode(const std::optional<std::string>& secret) {
  queryItems = parseQuery(query());
  if (!body.empty()) decodedBody = decodeBody(body, secret);
}

Value ReceivedRequest::details() const {
  return Value::dictionary({{"number", number},
                            {"method", method},
                            {"path", path()},
                            {"query", fieldDetails(queryItems)},
                            {"headers", fieldDetails(headers)},
                            {"identity", identity(*this)},
                            {"body", decodedBody ? bodyDetails(*decodedBody, body.size()) : Value()}});
}

Value fieldDetails(const std::vector<NameAndValue>& fields) {
  std::vector<Value> list;
  list.reserve(fields.size());
  for (const auto& [name, value] : fields) {
    list.push_back(Value::list({name, isSecret(name) ? maskedCredentials(value) : value}));
  }
  return Value::list(list);
}

std::vector<NameAndValue> parseQuery(std::string_view query) {
  std::vector<NameAndValue> items;
  while (!query.empty()) {
    const std::string_view item = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(item.size() + 1, query.size()));
    const std::size_t sign = std::min(item.find('='), item.size());
    items.emplace_back(percentDecoded(item.substr(0, sign)),
                       percentDecoded(item.substr(std::min(sign + 1, item.size()))));
  }
  return items;
}

}  // namespace pellion
