#include "pellion/temporary_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
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

constexpr const char* namePattern = "pellion-XXXXXX";
constexpr const char* lockName = ".in-use";  // in each; locked as long as its program lives

/// Whether nobody but the caller has it from now on.
bool isLocked(int file, bool waits) { return file >= 0 && flock(file, LOCK_EX | (waits ? 0 : LOCK_NB)) == 0; }

/// What programs have left behind that were killed. It may hold secrets.
void removeAbandoned(const std::filesystem::path& parent) {
  const std::string pattern(namePattern);
  std::error_code ignored;  // what cannot be seen or removed is somebody else's
  for (const auto& entry : std::filesystem::directory_iterator(parent, ignored)) {
    const std::string name = entry.path().filename();
    const std::string_view start = std::string_view(pattern).substr(0, pattern.find('X'));
    if (name.size() != pattern.size() || !name.starts_with(start)) continue;
    const int lock = open((entry.path() / lockName).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (isLocked(lock, false)) std::filesystem::remove_all(entry.path(), ignored);
    if (lock >= 0) close(lock);
  }
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
  removeAbandoned(parent);
  do {
    if (lock_ >= 0) close(lock_);
    std::string pattern = (parent / namePattern).string();
    if (mkdtemp(pattern.data()) == nullptr) return false;
    path_ = pattern;
    lock_ = open((path_ / lockName).c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    // Before it was locked another program may have taken it for abandoned.
  } while (isLocked(lock_, true) && !std::filesystem::exists(path_ / lockName));
  registry().paths.insert(path_);
  return true;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;  // what cannot be removed stays for the system to sweep
  std::filesystem::remove_all(path_, ignored);
  const std::lock_guard lock(registry().mutex);
  registry().paths.erase(path_);
  if (lock_ >= 0) close(lock_);
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
