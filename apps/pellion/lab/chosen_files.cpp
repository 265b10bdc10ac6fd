#include "pellion/lab/chosen_files.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>
#include <vector>

#include "pellion/payload/source_text.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/text/json_reader.h"

namespace pellion {
namespace {

using platform::Value;

/// A JSON text on one line. Line breaks occur between its tokens alone.
std::string onOneLine(std::string_view file, std::string_view text) {
  const JSONNode content = readJSON(file, text);
  const JSONNode* certificates = content.find("CA_FILE");
  if (certificates != nullptr && certificates->value.ifString() &&
      std::filesystem::path(certificates->value.text()).is_relative()) {
    throw errorAt(file, certificates->position,
                  "CA_FILE is relative to this file, whose folder a browser does not tell; give an absolute path");
  }
  std::string line(withoutByteOrderMark(text));
  std::ranges::replace_if(
      line, [](char character) { return character == '\n' || character == '\r'; }, ' ');
  return line;
}

/// The end of the JSON string that begins there.
std::size_t endOfString(std::string_view text, std::size_t begin) {
  std::size_t at = begin + 1;
  while (text[at] != '"') at += text[at] == '\\' ? 2 : 1;
  return at + 1;
}

std::string fileName(const NamedFile& named) { return std::filesystem::path(named.path).filename().string(); }

std::pair<const Value::Entry&, JSONNode> onlyScenario(const Value& files) {
  constexpr const char* remedy = "; choose one scenario, and the files that it names";
  const Value::Entry* found = nullptr;
  JSONNode document;
  for (const Value::Entry& entry : files.entries()) {
    JSONNode read = readJSON(entry.key.text(), entry.value.text(), JSONForm::commented);
    if (read.find("steps") == nullptr) continue;
    if (found != nullptr) {
      throw InputError(std::string(found->key.text()) + " and " + std::string(entry.key.text()) +
                       " are both scenarios" + remedy);
    }
    found = &entry;
    document = std::move(read);
  }
  if (found == nullptr)
    throw InputError(std::string("none of these files is a scenario, which has \"steps\"") + remedy);
  return {*found, std::move(document)};
}

/// The last first: what is before keeps its place while its content is put there.
std::vector<NamedFile> namedIn(const std::string& scenario, const JSONNode& document) {
  std::vector<NamedFile> all = filesNamedIn(scenario, document, stepKinds());
  if (all.size() > ChosenScenario::mostNames) {
    throw InputError(scenario + ": names more than " + std::to_string(ChosenScenario::mostNames) +
                     " files; put the content of some in the place of their names");
  }
  std::map<std::string, std::string> paths;  // by name
  for (const NamedFile& named : all) {
    const std::string& first = paths.emplace(fileName(named), named.path).first->second;
    if (first == named.path) continue;
    throw errorAt(
        scenario, named.position,
        "names the files " + first + " and " + named.path + ", which the page cannot tell apart; rename one of them");
  }
  std::ranges::sort(all, [](const NamedFile& one, const NamedFile& other) {
    return std::pair(one.position.line, one.position.column) > std::pair(other.position.line, other.position.column);
  });
  return all;
}

}  // namespace

ChosenScenario scenarioAmong(const Value& files) {
  const auto [file, document] = onlyScenario(files);
  ChosenScenario scenario{std::string(file.key.text()), std::string(withoutByteOrderMark(file.value.text()))};
  for (const NamedFile& named : namedIn(scenario.file, document)) {
    const std::string name = fileName(named);
    const Value* content = files.find(name);
    if (name.empty()) throw errorAt(scenario.file, named.position, "names no file; write the name of one");
    if (content == nullptr) {
      throw errorAt(scenario.file, named.position,
                    "names the file " + named.path + "; choose " + name + " together with it");
    }
    const std::size_t begin = offsetOf(scenario.text, named.position);
    const std::size_t end = endOfString(scenario.text, begin);
    scenario.text.replace(begin, end - begin, onOneLine(name, content->text()));
    if (scenario.text.size() > ChosenScenario::mostBytes) {
      throw InputError(scenario.file + ": larger than 1 MiB with the files that it names; choose a smaller one");
    }
  }
  return scenario;
}

}  // namespace pellion
