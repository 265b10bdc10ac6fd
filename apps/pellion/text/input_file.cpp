#include "pellion/text/input_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "pellion/text/input_error.h"

namespace pellion {
namespace {

std::string sizeText(std::size_t bytes) {
  const bool isWholeMebibytes = bytes % (1U << 20) == 0;
  return isWholeMebibytes ? std::to_string(bytes >> 20) + " MiB" : std::to_string(bytes >> 10) + " KiB";
}

}  // namespace

std::string inputName(const std::string& path) { return path == "-" ? "standard input" : path; }

void refuseStandardInputTwice(std::span<const std::string> paths) {
  const auto isStandardInput = [](const std::string& path) { return path == "-" || path == "/dev/stdin"; };
  if (std::ranges::count_if(paths, isStandardInput) > 1) {
    throw InputError("standard input is named twice; give one of the two as a file");
  }
}

std::string readInputFile(const std::string& path, const FileKind& kind) {
  const bool isStandardInput = path == "-";
  const std::string name = inputName(path);
  // A pipe without a writer would block the reader for ever; the command's own input has a writer.
  std::error_code ignored;  // opening the file reports any error of the path
  if (!isStandardInput && std::filesystem::is_other(path, ignored) && path != "/dev/stdin") {
    throw InputError(name + ": not a regular file; give the path of " + std::string(kind.name));
  }
  std::ifstream file(isStandardInput ? "/dev/stdin" : path, std::ios::binary);
  std::string text;
  while (file && text.size() <= kind.largest) {
    constexpr std::size_t block = 64U << 10;
    const std::size_t before = text.size();
    text.resize(before + block);
    file.read(text.data() + before, block);
    text.resize(before + static_cast<std::size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad()) {
    throw InputError(name + ": " + std::strerror(errno) + "; give the path of " + std::string(kind.name));
  }
  if (text.size() > kind.largest) {
    throw InputError(name + ": larger than " + sizeText(kind.largest) + "; " + std::string(kind.size));
  }
  return text;
}

void refuseToOverwrite(const std::string& input, std::string_view option, const std::string& output) {
  std::error_code ignored;  // an output that does not exist yet is a different file
  if (std::filesystem::equivalent(input, output, ignored)) {
    throw InputError(std::string(option) + " " + output + ": this is the input " + input + "; name a different file");
  }
}

}  // namespace pellion
