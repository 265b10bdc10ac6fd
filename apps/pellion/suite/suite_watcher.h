#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace pellion {

/// Watches files and directories with everything below them, except names that begin with a dot. Does not follow links
/// below a directory. One thread.
class SuiteWatcher {
 public:
  /// Throws InputError when the system offers no further watch.
  explicit SuiteWatcher(std::span<const std::string> paths);
  SuiteWatcher(const SuiteWatcher&) = delete;
  SuiteWatcher& operator=(const SuiteWatcher&) = delete;
  ~SuiteWatcher();

  /// Also watches these files, which need not exist yet, from now on. Throws as the constructor.
  void watchFiles(std::span<const std::string> paths);

  /// Waits for a change since the last call, or since construction. Returns the canonical paths of what was written,
  /// created, moved or removed there; a directory stands for everything below it. Beside a named file it also returns
  /// its neighbours. Returns nothing when a named directory is gone. Throws InputError when all that was named is gone.
  std::set<std::filesystem::path> changedPaths();

  /// The named directories, and those of named files, that have been moved or removed since the last call.
  std::vector<std::filesystem::path> takeGone() { return std::exchange(gone_, {}); }

 private:
  struct Watched {
    std::filesystem::path directory;
    bool withSubdirectories;
  };
  struct Event;

  void watch(const std::filesystem::path& directory, bool withSubdirectories);
  void watchFile(const std::filesystem::path& path);
  void forgetBelow(const std::filesystem::path& directory);
  void read();
  void take(const Event& event);
  void takeEntry(const Event& event, const Watched& where);
  void startAgain();
  void lose(const std::filesystem::path& directory);

  const int descriptor_;
  std::map<int, Watched> watched_;         ///< by the system's number of the watch
  std::set<std::filesystem::path> named_;  ///< directories that the constructor was given, or that have its files
  std::set<std::filesystem::path> changed_;
  std::vector<std::filesystem::path> gone_;
};

}  // namespace pellion
