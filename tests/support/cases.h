#pragma once

#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/json_serialization.h"
#include "tests/support/temporary_directory.h"

// Cases that are data are in files beside the tests: texts, and JSON, where "case" names a row that does not explain
// itself.

namespace test {

/// The text of such a file, for example "pellion/cases/schema.json".
inline std::string caseText(const std::string& file) {
  std::string text = fileText(PELLION_SOURCE_DIR "/tests/" + file);
  if (text.empty()) throw std::runtime_error("tests/" + file + " cannot be read, or is empty");
  return text;
}
inline platform::Value caseJSON(const std::string& file) {
  const std::string text = caseText(file);
  platform::Error error;
  const auto value = platform::JSONSerialization::JSONObjectWithData(
      {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, &error);
  if (!value) throw std::runtime_error("tests/" + file + ": " + error.description());
  return *value;
}
/// The elements of a list. Throws if there are none, so that no test passes without cases.
inline std::vector<platform::Value> elements(const platform::Value& list) {
  const auto found = list.asList("elements");
  if (found.empty()) throw std::runtime_error("a list of cases is empty");
  return {found.begin(), found.end()};
}
inline std::vector<platform::Value> caseRows(const std::string& file) { return elements(caseJSON(file)); }
inline const platform::Value& at(const platform::Value& row, const char* key) {
  const platform::Value* value = row.find(key);
  if (value == nullptr) throw std::runtime_error(row.description() + " has no \"" + key + '"');
  return *value;
}
inline std::string textAt(const platform::Value& row, const char* key) {
  return std::string(at(row, key).asString(key));
}
inline std::vector<std::string> textsAt(const platform::Value& row, const char* key) {
  std::vector<std::string> texts;
  for (const platform::Value& text : at(row, key).asList(key)) texts.emplace_back(text.asString(key));
  return texts;
}

/// The parts of a text between separators; the parts may be empty.
inline std::vector<std::string> parts(std::string_view text, char separator) {
  std::vector<std::string> found;
  for (;;) {
    const std::size_t end = text.find(separator);
    found.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return found;
    text.remove_prefix(end + 1);
  }
}

/// A text with each run of white space replaced by one space, for cases that ignore the layout.
inline std::string singleSpaced(const std::string& text) {
  std::istringstream words(text);
  std::string spaced;
  for (std::string word; words >> word;) spaced += (spaced.empty() ? "" : " ") + word;
  return spaced;
}

}  // namespace test
