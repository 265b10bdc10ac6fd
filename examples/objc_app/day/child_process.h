#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

/// A program that runs as a child: this one writes lines to its standard input and receives those of its standard
/// output. The child inherits standard error.
class ChildProcess {
 public:
  /// `receive` is called on a thread of this object for each line. Throws std::system_error when the program cannot be
  /// started.
  ChildProcess(const std::vector<std::string>& command, const std::map<std::string, std::string>& environment,
               std::function<void(const std::string& line)> receive);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  /// Ends the program if it still runs.
  ~ChildProcess();

  /// A program that has ended receives nothing.
  void write(const std::string& line) const;
  /// Ends the input and waits until the program ends and all its lines are received. Returns its exit status, or 128
  /// and the number of the signal that ended it.
  int wait();

 private:
  void read(const std::function<void(const std::string& line)>& receive) const;

  pid_t process_ = -1;
  int input_ = -1;   // of the child
  int output_ = -1;  // of the child
  std::thread reader_;
};
