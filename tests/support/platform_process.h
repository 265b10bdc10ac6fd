#pragma once

#include <functional>
#include <memory>
#include <string>

namespace test {

/// The process that a test runs in, current on this thread, which is its main thread. On the host each object is a
/// process of its own; over Foundation the program is the one process. So tests that run over both need a program
/// each.
class PlatformProcess {
 public:
  PlatformProcess();
  PlatformProcess(const PlatformProcess&) = delete;
  PlatformProcess& operator=(const PlatformProcess&) = delete;
  ~PlatformProcess();

  /// Turns the main queue, and lets its time pass, until `isOver` returns true. False: it does not within ten seconds.
  bool runUntil(const std::function<bool()>& isOver);

 private:
  friend class OtherThread;
  struct State;
  std::unique_ptr<State> state_;
};

/// Makes the process current on another thread, for as long as this object lives there.
class OtherThread {
 public:
  explicit OtherThread(PlatformProcess& process);
  OtherThread(const OtherThread&) = delete;
  OtherThread& operator=(const OtherThread&) = delete;
  ~OtherThread();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The message of the programming error that `work` ends the program with; "nothing" if it returns.
std::string programmingErrorIn(const std::function<void()>& work);

}  // namespace test
