#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pellion {

/// A file of a suite: a scenario that the caller named, any JSON document below a directory, or a directory that
/// cannot be read.
struct SuiteFile {
  std::string path;
  bool isNamed = false;
  std::string error = {};                ///< one line: why it cannot be read, where that is already known
  std::optional<std::string> text = {};  ///< of standard input, once it has been read
};

/// The files themselves and every *.json below the directories, in the order of the paths and then by name, each once.
/// Skips names that begin with a dot, as a shell does. A directory that cannot be read is an entry of its own.
std::vector<SuiteFile> findSuiteFiles(std::span<const std::string> paths);

/// Keeps the files whose path or whose scenario's name contains the text, in upper or lower case, and the directories
/// that cannot be read: what is below them might match.
void keepMatching(std::vector<SuiteFile>& files, std::string_view text);

/// Whether the file is a JSON document that is not meant as a scenario: one without steps.
bool isOtherDocument(const std::string& path);

}  // namespace pellion
