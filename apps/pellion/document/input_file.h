#pragma once

#include <string>
#include <string_view>

namespace pellion {

/// What the errors about a file say that it should be.
struct FileKind {
  std::string_view name;  ///< completes "give the path of …"
  std::string_view size;  ///< how large one is
  std::size_t largest = 16U << 20;
};

/// The whole text of a file. Throws InputError for one that cannot be read or is too large.
std::string readInputFile(const std::string& path, const FileKind& kind);

/// Throws InputError when what an option would have written is the input itself: opening it would empty it.
void refuseToOverwrite(const std::string& input, std::string_view option, const std::string& output);

}  // namespace pellion
