#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {

class Load;
class Process;

/// What a phone's configuration says about connections. There is no way to switch the verification of certificates off.
struct NetworkPolicy {
  std::filesystem::path certificateAuthorities;      ///< a PEM file trusted beside the system's own; empty for none
  std::vector<std::string> clearTextHosts;           ///< hosts besides loopback to which http is allowed
  std::chrono::milliseconds requestTimeout{60'000};  ///< without progress
};

/// What a server in this program tells the phones' network when it will send nothing on a connection for a while.
struct Silence {
  std::uint16_t clientPort;  ///< of the connection, on loopback
  std::uint16_t serverPort;
  std::chrono::nanoseconds duration;
  std::function<void()> end;  ///< called when it is over, on the phone's main thread
};

/// The program's one network: a single thread moves the bytes of all sessions of all processes, a small pool of
/// threads runs the handlers, one at a time and in order for each session. Threads start with the first request.
class Network {
 public:
  Network();
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;
  ~Network();

  /// Takes over a task that has just been resumed; one of a process that is ending has its handler released unrun on
  /// the spot. Any thread. Throws std::system_error when the first request finds no threads to be had.
  void start(const std::shared_ptr<Load>& load);

  /// Takes in what was sent before; then the phone's time may pass, and the request's time-out counts in it. A silence
  /// that outlasts the request, or is about none, is dropped without its end. Any thread.
  void announce(Silence silence);

  // How a process ends: endProcess() first, then whatever of it may still start requests, forget() last.
  /// Ends the transfers of a process without running their handlers and refuses what it starts from now on; returns
  /// when none of its handlers is running. Any thread but those that run the process's handlers.
  void endProcess(Process& process);
  /// Takes the mark of endProcess() back: another process may be made at the same address.
  void forget(Process& process);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace host
