#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace services {

class Load;
class RequestOwner;

/// A server in this program passes this to the network when it will send nothing on a connection for a while.
struct Silence {
  std::uint16_t clientPort;  ///< of the connection, on loopback
  std::uint16_t serverPort;
  std::uint64_t sent;  ///< bytes that the server has sent on the connection before: the phone first reads these
  std::chrono::nanoseconds duration;
  std::function<void()> end;  ///< called when the silence is over, on the owner's main thread
};

/// The program's one network. A single thread moves the bytes of all sessions of all owners. A small pool of threads
/// runs the handlers, one at a time and in order for each session. Threads start with the first request.
class Network {
 public:
  struct Options {
    std::size_t maximumTransfers = 256;  ///< at once; each takes one or two descriptors; the others wait
  };

  Network();
  explicit Network(Options options);
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;
  ~Network();

  /// Takes over a task that has just been resumed. When its owner is ending, its handler is released at once without
  /// running. When no threads can be made, its handler gets an error, on the owner's main thread. Any thread.
  void start(const std::shared_ptr<Load>& load);

  /// First reads what was sent before. Then the owner's time may pass, and the request's time-out counts in it. If the
  /// silence outlasts the request, or belongs to no request, it is dropped and `end` is not called. Any thread.
  void announce(Silence silence);

  // To end an owner: call endRequests() first, then end all code of the owner that can start requests, then forget().
  /// Ends the owner's transfers without running their handlers and refuses the requests that it starts from now on.
  /// Returns when none of its handlers is running. Any thread except those that run the owner's handlers.
  void endRequests(const RequestOwner& owner);
  /// Removes the mark that endRequests() set: another owner may be made at the same address.
  void forget(const RequestOwner& owner);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace services
