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
  const std::lock_guard lock(registry().mutex);
  // In memory there is no disk to wait for. Whoever names a directory is believed.
  if (std::getenv("TMPDIR") == nullptr && make("/dev/shm")) return;
  std::error_code error;
  const std::filesystem::path parent = std::filesystem::temp_directory_path(error);
  if (error) throw InputError("the directory for temporary files: " + error.message() + remedy);
  if (!make(parent)) throw InputError(parent.string() + ": " + std::strerror(errno) + remedy);
}

bool TemporaryDirectory::make(const std::filesystem::path& parent) {
  std::string pattern = (parent / "pellion-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) return false;
  path_ = pattern;
  registry().paths.insert(path_);
  return true;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;  // what cannot be removed stays for the system to sweep
  std::filesystem::remove_all(path_, ignored);
  const std::lock_guard lock(registry().mutex);
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
