#pragma once

#include <filesystem>
#include <functional>

namespace pellion {

/// A new directory that its owner removes. If the program is killed, the next directory that is made removes it. It is
/// in memory when the system has a file system for that and TMPDIR names no other place.
class TemporaryDirectory {
 public:
  /// Throws InputError when no directory can be made.
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  /// Runs `work`, which writes into such a directory. When a file cannot be written, throws InputError with a remedy.
  static void write(const std::function<void()>& work);

  /// Removes all existing directories, from any thread of a program that is about to end. Code that makes or removes
  /// one afterwards waits for the end.
  static void removeAll();

 private:
  bool make(const std::filesystem::path& parent);

  std::filesystem::path path_;
  int lock_ = -1;  // the directory, open and locked as long as the program lives
};

}  // namespace pellion
