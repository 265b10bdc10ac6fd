#include "pellion/suite/suite_watcher.h"

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "pellion/text/input_error.h"

namespace pellion {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kinds =
    IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM | IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;

InputError noFurtherWatch(int error) {
  return InputError(std::string("--watch: ") + std::strerror(error) +
                    "; raise fs.inotify.max_user_watches and max_user_instances, or name fewer directories");
}

int opened() {
  const int descriptor = inotify_init1(IN_CLOEXEC);
  if (descriptor < 0) throw noFurtherWatch(errno);
  return descriptor;
}

/// A file that is created as a link is complete; any other is once its writer closes it.
bool isLink(const fs::path& path) {
  struct stat found {};
  return lstat(path.c_str(), &found) == 0 && (S_ISLNK(found.st_mode) || found.st_nlink > 1);
}

bool isBelow(const fs::path& path, const fs::path& directory) {
  const auto [end, ignored] = std::mismatch(directory.begin(), directory.end(), path.begin(), path.end());
  return end == directory.end();
}

}  // namespace

struct SuiteWatcher::Event {
  int watch;
  std::uint32_t kind;
  std::string_view name;
  [[nodiscard]] bool is(std::uint32_t any) const { return (kind & any) != 0; }
};

SuiteWatcher::SuiteWatcher(std::span<const std::string> paths) : descriptor_(opened()) {
  try {
    for (const std::string& path : paths) {
      std::error_code ignored;  // reading the path reports any error
      const fs::path canonical = fs::weakly_canonical(fs::absolute(path, ignored), ignored);
      if (fs::is_directory(canonical, ignored)) {
        watch(canonical, true);
        named_.insert(canonical);
      } else {
        watchFile(path);
        named_.insert(canonical.parent_path());
      }
    }
  } catch (...) {
    close(descriptor_);
    throw;
  }
}

SuiteWatcher::~SuiteWatcher() { close(descriptor_); }

void SuiteWatcher::watchFiles(std::span<const std::string> paths) {
  for (const std::string& path : paths) watchFile(path);
}

/// An editor may replace the file, or the link to it.
void SuiteWatcher::watchFile(const fs::path& path) {
  std::error_code ignored;  // reading the path reports any error
  const fs::path named = fs::absolute(path, ignored);
  watch(fs::weakly_canonical(named, ignored).parent_path(), false);
  watch(fs::weakly_canonical(named.parent_path(), ignored), false);
}

std::set<fs::path> SuiteWatcher::changedPaths() {
  while (changed_.empty() && gone_.empty()) {
    if (named_.empty()) throw InputError("--watch: nothing is left to watch; give files or directories that exist");
    read();
  }
  return std::exchange(changed_, {});
}

/// First watches the directory and then looks for those below, so that none is missed.
void SuiteWatcher::watch(const fs::path& directory, bool withSubdirectories) {
  const int number = inotify_add_watch(descriptor_, directory.c_str(), kinds);
  if (number < 0) {
    if (errno == ENOSPC || errno == ENOMEM) throw noFurtherWatch(errno);
    lose(directory);
    return;  // the suite reports what cannot be read
  }
  Watched& watched = watched_[number];
  watched = {directory, withSubdirectories || watched.withSubdirectories};
  if (!withSubdirectories) return;
  std::error_code error;
  auto entry = fs::directory_iterator(directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    std::error_code ignored;
    const bool isHidden = entry->path().filename().native().starts_with('.');
    if (!isHidden && !entry->is_symlink(ignored) && entry->is_directory(ignored)) watch(entry->path(), true);
  }
}

void SuiteWatcher::forgetBelow(const fs::path& directory) {
  std::erase_if(watched_, [&](const auto& each) {
    const bool isGone = isBelow(each.second.directory, directory);
    if (isGone) inotify_rm_watch(descriptor_, each.first);
    if (isGone) lose(each.second.directory);
    return isGone;
  });
}

void SuiteWatcher::read() {
  alignas(inotify_event) std::array<char, 64U << 10> buffer{};
  const ssize_t size = ::read(descriptor_, buffer.data(), buffer.size());
  if (size < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "--watch");
  for (ssize_t at = 0; at < size;) {
    const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
    take({event->wd, event->mask, event->len == 0 ? std::string_view() : std::string_view(event->name)});
    at += static_cast<ssize_t>(sizeof *event + event->len);
  }
}

void SuiteWatcher::take(const Event& event) {
  if (event.is(IN_Q_OVERFLOW)) startAgain();
  const auto found = watched_.find(event.watch);
  if (found == watched_.end()) return;  // forgotten since
  const Watched where = found->second;
  if (event.is(IN_IGNORED)) {  // removed
    watched_.erase(found);
    lose(where.directory);
  } else if (event.is(IN_MOVE_SELF)) {
    forgetBelow(where.directory);
  } else if (!event.name.starts_with('.')) {
    takeEntry(event, where);
  }
}

void SuiteWatcher::lose(const fs::path& directory) {
  if (named_.erase(directory) > 0) gone_.push_back(directory);
}

void SuiteWatcher::takeEntry(const Event& event, const Watched& where) {
  const fs::path path = where.directory / event.name;
  if (event.is(IN_ISDIR)) {
    if (!where.withSubdirectories) return;
    if (event.is(IN_MOVED_FROM)) forgetBelow(path);
    if (event.is(IN_CREATE | IN_MOVED_TO)) watch(path, true);
    changed_.insert(path);
  } else if (event.is(IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE) ||
             (event.is(IN_CREATE) && isLink(path))) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(path, error);
    changed_.insert(error ? path : canonical);
  }
}

/// The system has dropped events: anything may have changed.
void SuiteWatcher::startAgain() {
  for (const auto& [number, watched] : std::exchange(watched_, {})) {
    watch(watched.directory, watched.withSubdirectories);
    changed_.insert(watched.directory);
  }
}

}  // namespace pellion
