#pragma once

#include <filesystem>
#include <functional>

namespace pellion {

/// A new directory that goes with its owner, or when the next is made after its program was killed: in memory where the
/// system has a file system for that and TMPDIR names no other place.
class TemporaryDirectory {
 public:
  /// Throws InputError when none can be made.
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  /// Runs work that writes into such a directory. Throws InputError with what would help when a file cannot be written.
  static void write(const std::function<void()>& work);

  /// Removes all that there are, from any thread of a program that is about to end: whoever makes or removes one after
  /// that waits for the end.
  static void removeAll();

 private:
  bool make(const std::filesystem::path& parent);

  std::filesystem::path path_;
  int lock_ = -1;  // the directory, open and locked as long as the program lives
};

}  // namespace pellion
