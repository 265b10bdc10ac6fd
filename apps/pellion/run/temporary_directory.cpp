#include "pellion/run/temporary_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include "pellion/text/input_error.h"

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

constexpr const char* remedy = "; set TMPDIR to a directory that can be written and has room";
constexpr const char* namePattern = "pellion-XXXXXX";
// A directory that has these rights and can be locked belongs to a program that was killed: a directory is locked
// before it gets them. The sticky bit has no effect among files of one owner and is hardly ever set otherwise.
constexpr mode_t markedRights = S_IRWXU | S_ISVTX;

int openDirectory(const std::filesystem::path& path) {
  return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

bool isAbandoned(int directory) {
  struct stat found {};
  return directory >= 0 && fstat(directory, &found) == 0 && found.st_uid == geteuid() &&
         (found.st_mode & ALLPERMS) == markedRights && flock(directory, LOCK_EX | LOCK_NB) == 0;
}

/// The content may be secret.
void removeAbandoned(const std::filesystem::path& parent) {
  constexpr std::string_view pattern(namePattern);
  std::error_code ignored;  // files that cannot be seen or removed belong to other users
  for (const auto& entry : std::filesystem::directory_iterator(parent, ignored)) {
    const std::string name = entry.path().filename();
    if (name.size() != pattern.size() || !name.starts_with(pattern.substr(0, pattern.find('X')))) continue;
    const int directory = openDirectory(entry.path());
    if (isAbandoned(directory)) std::filesystem::remove_all(entry.path(), ignored);
    if (directory >= 0) close(directory);
  }
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  const std::lock_guard lock(registry().mutex);
  // In memory there is no disk to wait for. A directory that the user names takes precedence.
  if (std::getenv("TMPDIR") == nullptr && make("/dev/shm")) return;
  std::error_code error;
  const std::filesystem::path parent = std::filesystem::temp_directory_path(error);
  if (error) throw InputError("the directory for temporary files: " + error.message() + remedy);
  if (!make(parent)) throw InputError(parent.string() + ": " + std::strerror(errno) + remedy);
}

bool TemporaryDirectory::make(const std::filesystem::path& parent) {
  removeAbandoned(parent);
  std::string pattern = (parent / namePattern).string();
  if (mkdtemp(pattern.data()) == nullptr) return false;
  path_ = pattern;
  lock_ = openDirectory(path_);
  if (lock_ >= 0 && flock(lock_, LOCK_EX | LOCK_NB) == 0) fchmod(lock_, markedRights);
  registry().paths.insert(path_);
  return true;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;  // the system cleans up what cannot be removed
  std::filesystem::remove_all(path_, ignored);
  const std::lock_guard lock(registry().mutex);
  registry().paths.erase(path_);
  if (lock_ >= 0) close(lock_);
}

void TemporaryDirectory::write(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::filesystem::filesystem_error& error) {
    throw InputError(error.path1().string() + ": cannot be written: " + error.code().message() + remedy);
  }
}

void TemporaryDirectory::removeAll() {
  registry().mutex.lock();  // never unlocked
  for (const std::filesystem::path& path : registry().paths) {
    // Other threads may still write into it; once it is removed they cannot.
    constexpr int mostAttempts = 100;
    std::error_code ignored;
    for (int i = 0; i < mostAttempts && std::filesystem::exists(path, ignored); ++i) {
      std::filesystem::remove_all(path, ignored);
    }
  }
}

}  // namespace pellion
