#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace pellion {

/// A worker's connection to Locust's master: a DEALER socket of ZeroMQ, which connects by itself, again and again,
/// until it is destroyed. Belongs to one thread.
class LocustSocket {
 public:
  /// `endpoint` is "tcp://HOST:PORT", `identity` a text that no other worker has. Throws InputError if there can be no
  /// such endpoint.
  LocustSocket(const std::string& endpoint, const std::string& identity);
  ~LocustSocket();

  /// Without waiting. What is sent while there is no connection may reach a later master.
  void send(const std::string& message);
  /// The next message, if there is one.
  std::optional<std::string> receive();

  enum class Change : std::uint8_t { connected, lost };
  /// The next change of the connection, if there is one.
  std::optional<Change> takeChange();

  /// Until there is something to receive or a change, no longer than this.
  void waitFor(std::chrono::milliseconds longest);

  /// Lets its destructor wait so long for messages that are on their way.
  void linger(std::chrono::milliseconds longest);

 private:
  struct Sockets;
  std::unique_ptr<Sockets> sockets_;
};

}  // namespace pellion
