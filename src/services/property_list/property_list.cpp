#include "services/property_list/property_list.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/property_list.h"
#include "value/printable_text.h"

namespace services {
namespace {

bool operator==(const timespec& left, const timespec& right) {
  return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

class File {
 public:
  // Without O_NONBLOCK, a pipe of that name would block the caller forever.
  explicit File(const std::string& path) : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  [[nodiscard]] bool status(struct stat& status) const { return descriptor_ >= 0 && fstat(descriptor_, &status) == 0; }
  [[nodiscard]] std::string contents(std::size_t limit) const {
    std::string result(limit, '\0');
    std::size_t size = 0;
    while (size != limit) {
      const ssize_t count = read(descriptor_, result.data() + size, limit - size);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throw std::system_error(errno, std::generic_category());
      if (count == 0) break;
      size += static_cast<std::size_t>(count);
    }
    result.resize(size);
    return result;
  }

 private:
  int descriptor_;
};

/// Sets `status` to the file's status before the file was read.
platform::Value read(const std::string& path, struct stat& status) {
  const auto fail = [&](const std::string& problem) { throw PropertyListError(path + ": " + problem); };
  const File file(path);
  if (!file.status(status)) fail(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) fail("not a file");
  std::string contents;
  try {
    // One byte more than expected, so that a file that grows meanwhile is not cut to its old size.
    const std::size_t size = std::min(static_cast<std::size_t>(status.st_size), largestPropertyList);
    contents = file.contents(size + 1);
  } catch (const std::system_error& error) {
    fail(error.what());
  }
  return parsePropertyList(contents, path);
}

/// Keeps the last few files of the program, each as long as it is the same file, unchanged. The module reads one of its
/// resources for every request, and many phones may share one.
class PropertyListCache {
 public:
  static PropertyListCache& shared() {
    static auto& cache = *new PropertyListCache;  // threads may use it after main
    return cache;
  }

  std::optional<platform::Value> dictionary(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    {
      const std::lock_guard lock(mutex_);
      const auto known = files_.find(path);
      if (known != files_.end() && isSame(known->second.status, status)) return known->second.dictionary;
    }
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    std::optional<platform::Value> dictionary;
    try {
      dictionary = read(path, status);
    } catch (const PropertyListError&) {
      // Kept: the platform does not say why.
    }
    if (dictionary && dictionary->ifDictionary() == nullptr) dictionary.reset();
    // A failure is not kept: it may be the program's, for example when it has no descriptor left.
    if (dictionary && isBefore(status.st_ctim, now)) keep(path, {status, *dictionary});
    return dictionary;
  }

 private:
  struct Known {
    struct stat status;
    platform::Value dictionary;
  };
  static constexpr std::size_t capacity = 64;

  void keep(const std::string& path, Known file) {
    const std::lock_guard lock(mutex_);
    if (files_.size() == capacity && !files_.contains(path)) files_.clear();
    files_.insert_or_assign(path, std::move(file));
  }
  static bool isSame(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino && left.st_size == right.st_size &&
           left.st_mtim == right.st_mtim && left.st_ctim == right.st_ctim;
  }
  /// The file system's clock ticks a few hundred times a second. A file that changed in the current tick may change
  /// again unnoticed, so it is not kept.
  static bool isBefore(const timespec& left, const timespec& right) {
    return left.tv_sec != right.tv_sec ? left.tv_sec < right.tv_sec : left.tv_nsec < right.tv_nsec;
  }

  std::mutex mutex_;
  std::map<std::string, Known, std::less<>> files_;
};

}  // namespace

PropertyListError::PropertyListError(std::string_view text) : std::runtime_error(value::printable(text)) {}

platform::Value readPropertyList(const std::filesystem::path& path) {
  struct stat status {};
  return read(path.string(), status);
}

}  // namespace services

namespace platform {

std::optional<Value> dictionaryWithContentsOfFile(const std::optional<std::string>& path) {
  if (!path) return std::nullopt;
  return services::PropertyListCache::shared().dictionary(*path);
}

}  // namespace platform
