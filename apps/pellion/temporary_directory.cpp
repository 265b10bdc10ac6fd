#include "pellion/temporary_directory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <system_error>

#include "pellion/input_error.h"

namespace pellion {
namespace {

struct Registry {
  std::mutex mutex;
  std::set<std::filesystem::path> paths;
};

/// Never destroyed: a signal may come while the program exits.
Registry& registry() {
  static auto& only = *new Registry;
  return only;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  constexpr const char* remedy = "; set TMPDIR to a directory that can be written";
  std::error_code error;
  std::string pattern = (std::filesystem::temp_directory_path(error) / "pellion-XXXXXX").string();
  if (error) throw InputError("the directory for temporary files: " + error.message() + remedy);
  const std::lock_guard lock(registry().mutex);
  if (mkdtemp(pattern.data()) == nullptr) throw InputError(pattern + ": " + std::strerror(errno) + remedy);
  path_ = pattern;
  registry().paths.insert(path_);
}

TemporaryDirectory::~TemporaryDirectory() {
  const std::lock_guard lock(registry().mutex);
  std::error_code ignored;  // what cannot be removed stays for the system to sweep
  std::filesystem::remove_all(path_, ignored);
  registry().paths.erase(path_);
}

void TemporaryDirectory::removeAll() {
  registry().mutex.lock();  // and never unlocked
  for (const std::filesystem::path& path : registry().paths) {
    // Other threads may still write into it; once it is gone they cannot.
    constexpr int mostAttempts = 100;
    std::error_code ignored;
    for (int i = 0; i < mostAttempts && std::filesystem::exists(path, ignored); ++i) {
      std::filesystem::remove_all(path, ignored);
    }
  }
}

}  // namespace pellion
