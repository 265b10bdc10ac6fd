#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>
#include <string_view>

namespace pellion {

/// A file that an option of the command asks for. It is made with the rights that are said, less what the umask takes
/// away; one that is there already keeps its own.
class OutputFile {
 public:
  static constexpr mode_t forItsOwner = 0600;
  static constexpr mode_t toBeHandedOn = 0644;  ///< as far as the umask lets others read it

  /// Throws InputError when it cannot be written.
  OutputFile(std::string path, std::string_view option, mode_t rights);
  [[nodiscard]] std::ostream& stream() { return file_; }
  /// Throws InputError when not all of it has been written.
  void close(std::string_view what);

 private:
  std::string path_;
  std::ofstream file_;
};

}  // namespace pellion
