#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace host {

class Load;
class RequestOwner;

/// What a server in this program tells the network when it will send nothing on a connection for a while.
struct Silence {
  std::uint16_t clientPort;  ///< of the connection, on loopback
  std::uint16_t serverPort;
  std::chrono::nanoseconds duration;
  std::function<void()> end;  ///< called when it is over, on the owner's main thread
};

/// The program's one network: a single thread moves the bytes of all sessions of all owners, a small pool of
/// threads runs the handlers, one at a time and in order for each session. Threads start with the first request.
class Network {
 public:
  Network();
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;
  ~Network();

  /// Takes over a task that has just been resumed; one whose owner is ending has its handler released unrun on
  /// the spot. Any thread. Throws std::system_error when the first request finds no threads to be had.
  void start(const std::shared_ptr<Load>& load);

  /// Takes in what was sent before; then the owner's time may pass, and the request's time-out counts in it. A silence
  /// that outlasts the request, or is about none, is dropped without its end. Any thread.
  void announce(Silence silence);

  // How an owner ends: endRequests() first, then whatever of it may still start requests, forget() last.
  /// Ends the owner's transfers without running their handlers and refuses what it starts from now on; returns when
  /// none of its handlers is running. Any thread but those that run the owner's handlers.
  void endRequests(const RequestOwner& owner);
  /// Takes the mark of endRequests() back: another owner may be made at the same address.
  void forget(const RequestOwner& owner);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace host
