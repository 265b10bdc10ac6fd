#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>
#include <string_view>

namespace pellion {

/// A file that an option of the command asks for. A new file gets the given rights, except those that the umask
/// removes; an existing file keeps its own.
class OutputFile {
 public:
  static constexpr mode_t forItsOwner = 0600;
  static constexpr mode_t toBeHandedOn = 0644;  ///< readable by others as far as the umask permits

  /// Throws InputError when the file cannot be written.
  OutputFile(std::string path, std::string_view option, mode_t rights);
  [[nodiscard]] std::ostream& stream() { return file_; }
  /// Throws InputError when not everything has been written.
  void close(std::string_view what);

 private:
  std::string path_;
  std::ofstream file_;
};

}  // namespace pellion
