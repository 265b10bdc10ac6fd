#pragma once

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <initializer_list>

namespace test {

/// Limits what SQLite may still write to the disk in this program to a number of bytes; the removal of a file counts as
/// one. Then every change fails as on a full disk, or the program is killed: in the middle of a write, if the limit
/// falls into one. For a program with one thread, as long as this object lives.
class LimitedDisk {
 public:
  enum class End { full, killed };

  LimitedDisk(std::uint64_t bytes, End end) {
    left_ = bytes;
    end_ = end;
    replace({{"write", reinterpret_cast<sqlite3_syscall_ptr>(&limitedWrite)},
             {"pwrite", reinterpret_cast<sqlite3_syscall_ptr>(&limitedWriteAt)},
             {"pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(&limitedWriteAt)},
             {"unlink", reinterpret_cast<sqlite3_syscall_ptr>(&limitedUnlink)}});
  }
  LimitedDisk(const LimitedDisk&) = delete;
  LimitedDisk& operator=(const LimitedDisk&) = delete;
  ~LimitedDisk() { replace({{"write", nullptr}, {"pwrite", nullptr}, {"pwrite64", nullptr}, {"unlink", nullptr}}); }

  [[nodiscard]] static bool isUsedUp() { return isUsedUp_; }

 private:
  struct Call {
    const char* name;
    sqlite3_syscall_ptr function;  // null for the system's function
  };

  static void replace(std::initializer_list<Call> calls) {
    isUsedUp_ = false;
    sqlite3_vfs* files = sqlite3_vfs_find(nullptr);
    for (const Call& call : calls) {
      if (files->xGetSystemCall(files, call.name) != nullptr) files->xSetSystemCall(files, call.name, call.function);
    }
  }
  /// Returns how many of the requested bytes may be written; sets the error once they run out.
  static std::size_t take(std::size_t bytes) {
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, left_));
    left_ -= taken;
    if (taken == bytes) return taken;
    isUsedUp_ = true;
    errno = ENOSPC;
    return taken;
  }
  /// Runs a system call that may be carried out in part.
  template <class Write>
  static ssize_t limited(std::size_t size, Write write) {
    const std::size_t room = take(size);
    const ssize_t written = room > 0 || size == 0 ? write(room) : -1;
    if (room < size) dieIfAsked();
    return written;
  }
  static void dieIfAsked() {
    if (end_ == End::killed) kill(getpid(), SIGKILL);
  }
  static ssize_t limitedWrite(int file, const void* data, std::size_t size) {
    return limited(size, [&](std::size_t room) { return ::write(file, data, room); });
  }
  static ssize_t limitedWriteAt(int file, const void* data, std::size_t size, off_t at) {
    return limited(size, [&](std::size_t room) { return ::pwrite(file, data, room, at); });
  }
  static int limitedUnlink(const char* path) {
    if (take(1) == 1) return ::unlink(path);
    dieIfAsked();
    return -1;
  }

  static inline std::uint64_t left_ = 0;
  static inline End end_ = End::full;
  static inline bool isUsedUp_ = false;
};

}  // namespace test
