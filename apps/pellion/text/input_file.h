#pragma once

#include <span>
#include <string>
#include <string_view>

namespace pellion {

/// The kind of file that error messages ask for.
struct FileKind {
  std::string_view name;  ///< completes "give the path of …"
  std::string_view size;  ///< the permitted size
  std::size_t largest = 16U << 20;
};

/// The name of an input in messages: "-" is standard input.
std::string inputName(const std::string& path);

/// Throws InputError when more than one of the inputs is standard input, which can be read only once.
void refuseStandardInputTwice(std::span<const std::string> paths);

/// Returns the whole text of a file, or of standard input for "-". Throws InputError for a file that cannot be read or
/// is too large.
std::string readInputFile(const std::string& path, const FileKind& kind);

/// Throws InputError when the output file of an option is the input itself: opening it would empty it.
void refuseToOverwrite(const std::string& input, std::string_view option, const std::string& output);

}  // namespace pellion
