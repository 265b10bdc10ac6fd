#include <algorithm>

#include "platform/url_session.h"
#include "value/utf8.h"

namespace platform {
namespace {

/// Field names are ASCII, so an ASCII comparison of case is enough.
template <class Fields>
auto* findField(Fields& fields, std::string_view name) {
  const auto found = std::ranges::find_if(fields, [name](const HTTPHeaderFields::Field& field) {
    return std::ranges::equal(field.first, name, {}, value::lowerASCII, value::lowerASCII);
  });
  return found == fields.end() ? nullptr : &*found;
}

}  // namespace

void HTTPHeaderFields::set(std::string_view name, std::string_view value) {
  if (Field* field = findField(fields_, name)) {
    field->second = value;
  } else {
    fields_.emplace_back(name, value);
  }
}

void HTTPHeaderFields::add(std::string_view name, std::string_view value) {
  if (Field* field = findField(fields_, name)) {
    field->second.append(",").append(value);
  } else {
    fields_.emplace_back(name, value);
  }
}

const std::string* HTTPHeaderFields::find(std::string_view name) const {
  const Field* field = findField(fields_, name);
  return field == nullptr ? nullptr : &field->second;
}

Value HTTPHeaderFields::dictionary() const {
  std::vector<Value::Entry> entries;
  entries.reserve(fields_.size());
  for (const auto& [name, value] : fields_) entries.push_back({name, value});
  return Value::dictionary(entries);
}

}  // namespace platform
