#include "pellion/suite/suite_files.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "pellion/text/input_file.h"
#include "pellion/text/json_reader.h"
#include "pellion/text/similar_name.h"
#include "value/ascii.h"

namespace pellion {
namespace {

namespace fs = std::filesystem;

bool isHidden(const fs::path& path) { return path.filename().native().starts_with('.'); }

SuiteFile unreadable(const fs::path& path, const std::error_code& error) {
  return {path.string(), true,
          path.string() + ": " + error.message() + "; give scenarios, or directories that can be read"};
}

/// Goes on beside a directory that cannot be read. Does not follow links to directories, which may form circles.
void addFilesBelow(const fs::path& directory, std::vector<SuiteFile>& files) {
  std::error_code error;
  auto entry = fs::directory_iterator(directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    if (isHidden(entry->path())) continue;
    std::error_code ignored;  // reading the file reports any error of it
    if (entry->is_directory(ignored)) {
      if (!entry->is_symlink(ignored)) addFilesBelow(entry->path(), files);
    } else if (entry->path().extension() == ".json") {
      files.push_back({entry->path().lexically_normal().string()});
    }
  }
  if (error) files.push_back(unreadable(directory.lexically_normal(), error));
}

/// Reads no more than it must, so that a scenario with an error elsewhere has its name.
std::optional<std::string> nameIn(SuiteFile& file) {
  try {
    std::string text = readInputFile(file.path, {});
    const JSONNode document = readJSON(file.path, text, JSONForm::commented);
    if (file.path == "-") file.text = std::move(text);
    const JSONNode* name = document.find("name");
    if (name != nullptr && name->value.ifString()) return std::string(name->value.text());
  } catch (const InputError&) {  // such a file has its path alone
  }
  return std::nullopt;
}

}  // namespace

std::vector<SuiteFile> findSuiteFiles(std::span<const std::string> paths) {
  std::vector<SuiteFile> files;
  for (const std::string& path : paths) {
    std::error_code error;
    const bool isDirectory = fs::is_directory(path, error);
    if (!isDirectory) {  // reading it reports any error
      files.push_back({path, true});
      continue;
    }
    std::vector<SuiteFile> below;
    addFilesBelow(path, below);
    std::ranges::sort(below, {}, &SuiteFile::path);
    std::ranges::move(below, std::back_inserter(files));
  }
  std::set<fs::path> known;
  std::erase_if(files, [&](const SuiteFile& file) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(file.path, error);
    return !known.insert(error ? fs::path(file.path) : canonical).second;
  });
  return files;
}

void keepMatching(std::vector<SuiteFile>& files, std::string_view text) {
  const std::string wanted = value::asciiLowercase(text);
  const auto contains = [&](std::string_view where) {
    return value::asciiLowercase(where).find(wanted) != std::string::npos;
  };
  std::erase_if(files, [&](SuiteFile& file) {
    if (!file.error.empty() || contains(inputName(file.path))) return false;
    const std::optional<std::string> name = nameIn(file);
    return !name || !contains(*name);
  });
}

bool isOtherDocument(const std::string& path) {
  try {
    constexpr std::string_view scenarios[] = {"notifications", "delegates", "urlSchemes", "queriedSchemes",
                                              "installedSchemes"};
    const JSONNode document = readJSON(path, readInputFile(path, {}), JSONForm::commented);
    return std::ranges::none_of(document.members, [&](const JSONMember& member) {
      return looksLike(member.name, "steps") || std::ranges::find(scenarios, member.name) != std::end(scenarios);
    });
  } catch (const InputError&) {  // a file that is not JSON may have been meant as a scenario
    return false;
  }
}

}  // namespace pellion
