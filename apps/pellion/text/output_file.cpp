#include "pellion/text/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "pellion/text/input_error.h"

namespace pellion {

OutputFile::OutputFile(std::string path, std::string_view option, mode_t rights) : path_(std::move(path)) {
  // A stream cannot set the rights. An existing pipe must be opened only once.
  std::error_code ignored;
  if (!std::filesystem::exists(path_, ignored)) {
    const int made = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, rights);
    if (made >= 0) ::close(made);
  }
  file_.open(path_, std::ios::binary | std::ios::trunc);
  if (!file_) {
    throw InputError(path_ + ": " + std::strerror(errno) + "; give " + std::string(option) +
                     " a file that can be written");
  }
}

void OutputFile::close(std::string_view what) {
  file_.close();
  if (!file_) {
    throw InputError(path_ + ": not all of the " + std::string(what) + " could be written; is the disk full?");
  }
}

}  // namespace pellion
