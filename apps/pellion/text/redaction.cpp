#include "pellion/text/redaction.h"

#include <algorithm>
#include <set>

#include "pellion/text/json_writer.h"
#include "pellion/text/text_width.h"

namespace pellion {
namespace {

using platform::Value;

std::string maskedSecret(std::string_view secret) {
  constexpr std::size_t shown = 4;
  // The first characters would reveal most of a short one.
  return std::string(beginning(secret, secret.size() > 2 * shown ? shown : 0)) + "\u2026 (" +
         std::to_string(secret.size()) + " characters)";
}

/// A quoted value ends at a quotation mark that is not escaped, or at the end of its line like every value.
std::size_t lengthOfValue(std::string_view text, bool isQuoted) {
  std::size_t end = 0;
  for (; end < text.size() && text[end] != '\n' && !(isQuoted && text[end] == '"'); ++end) {
    if (isQuoted && text[end] == '\\') ++end;
  }
  return std::min(end, text.size());
}

std::string quotedInJSON(const std::string& text) {
  const std::string quoted = compactJSON(text);
  return quoted.substr(1, quoted.size() - 2);
}

/// The text as it appears in the description of a value that contains it.
std::string quotedInDescription(const std::string& text) {
  constexpr std::string_view before = "(\n    ";
  constexpr std::string_view after = "\n)";
  const std::string description = Value::list({text}).description();
  const std::string element = description.substr(before.size(), description.size() - before.size() - after.size());
  return element.starts_with('"') ? element.substr(1, element.size() - 2) : element;
}

}  // namespace

std::string maskedCredentials(std::string_view value) {
  const std::size_t blank = value.find(' ');
  if (blank == std::string_view::npos) return maskedSecret(value);
  return std::string(value.substr(0, blank + 1)) + maskedSecret(value.substr(blank + 1));
}

std::string maskedBearer(std::string_view text) {
  constexpr std::string_view scheme = "Bearer ";
  std::string masked;
  for (std::size_t found = 0; (found = text.find(scheme)) != std::string_view::npos;) {
    const bool isQuoted = found > 0 && text[found - 1] == '"';
    masked += text.substr(0, found + scheme.size());
    text.remove_prefix(found + scheme.size());
    const std::size_t length = lengthOfValue(text, isQuoted);
    masked += maskedSecret(text.substr(0, length));
    text.remove_prefix(length);
  }
  return masked.append(text);
}

std::string withoutUserInfo(std::string_view text) {
  constexpr std::string_view mark = "://";
  std::string result;
  for (std::size_t found = 0; (found = text.find(mark)) != std::string_view::npos;) {
    result += text.substr(0, found + mark.size());
    text.remove_prefix(found + mark.size());
    const std::string_view authority = text.substr(0, text.find_first_of("/?#\\\"'<> \t\r\n"));
    if (const std::size_t sign = authority.rfind('@'); sign != std::string_view::npos) text.remove_prefix(sign + 1);
  }
  return result.append(text);
}

Redaction::Redaction(const std::vector<std::string>& secrets) {
  constexpr std::size_t shortest = 6;
  for (const std::string& secret : std::set(secrets.begin(), secrets.end())) {
    if (secret.size() < shortest) continue;
    // A log line may contain the description of JSON text.
    std::set<std::string> forms{secret};
    for (int level = 0; level < 2; ++level) {
      for (const std::string& form : std::set(forms)) forms.insert({quotedInJSON(form), quotedInDescription(form)});
    }
    for (const std::string& form : forms) secrets_.push_back({form, maskedSecret(secret)});
  }
  std::ranges::stable_sort(secrets_, std::ranges::greater(), [](const Secret& secret) { return secret.text.size(); });
}

std::string Redaction::text(std::string_view text) const {
  std::string result = withoutUserInfo(text);
  for (const auto& [secret, mask] : secrets_) {
    for (std::size_t at = 0; (at = result.find(secret, at)) != std::string::npos; at += mask.size()) {
      result.replace(at, secret.size(), mask);
    }
  }
  return result;
}

Value Redaction::value(const Value& value) const {
  if (const auto whole = value.ifString()) return text(*whole);
  if (value.ifList() != nullptr) {
    std::vector<Value> elements;
    for (const Value& element : value.elements()) elements.push_back(this->value(element));
    return Value::list(elements);
  }
  if (value.ifDictionary() != nullptr) {
    std::vector<Value::Entry> entries;
    for (const Value::Entry& entry : value.entries()) {
      entries.push_back({this->value(entry.key), this->value(entry.value)});
    }
    return Value::dictionary(entries);
  }
  return value;
}

}  // namespace pellion
