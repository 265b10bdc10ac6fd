#pragma once

#include <filesystem>

namespace pellion {

/// A new directory that goes with its owner.
class TemporaryDirectory {
 public:
  /// Throws InputError when none can be made.
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  /// Removes all that there are, from any thread of a program that is about to end: whoever makes or removes one after
  /// that waits for the end.
  static void removeAll();

 private:
  std::filesystem::path path_;
};

}  // namespace pellion
