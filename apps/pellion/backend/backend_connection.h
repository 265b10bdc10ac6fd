#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string_view>

#include "pellion/backend/answer.h"
#include "services/url_loading/network.h"

struct gnutls_session_int;

namespace pellion {

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();
  [[nodiscard]] int get() const { return descriptor_; }
  void release() { descriptor_ = -1; }

 private:
  int descriptor_;
};

/// Returns a socket bound to the port on loopback, 0 for any free one. Several can share it if only the last one
/// listens. Throws InputError when the port is not available.
std::unique_ptr<Descriptor> boundToLoopback(std::uint16_t port);

/// The port of the local end of a socket.
std::uint16_t localPort(int socket);

/// An event that has occurred, for poll(). All operations are safe from any thread.
class Signal {
 public:
  Signal();
  void set() const;
  void clear() const;
  [[nodiscard]] int descriptor() const { return descriptor_.get(); }

 private:
  Descriptor descriptor_;
};

/// The backend's end of a connection whose request is complete, byte by byte. Its operations block. They return false
/// when the other side has closed the connection or the backend is ending.
class BackendConnection {
 public:
  /// `network` is the network of the phones, whose time passes while this end is silent; null for real time.
  /// `tlsSession` is GnuTLS's session on the socket; null without TLS.
  BackendConnection(int socket, void* tlsSession, const Signal& ending, services::Network* network);

  /// Sends the answer. Afterwards the caller only has to close the socket.
  void give(const Answer& answer, std::string_view method) const;
  /// In real time.
  [[nodiscard]] bool waitFor(std::chrono::milliseconds duration) const;

 private:
  [[nodiscard]] bool write(std::string_view bytes) const;
  [[nodiscard]] ssize_t sendSome(std::string_view bytes) const;
  [[nodiscard]] bool writeSlowly(std::string_view bytes, std::chrono::nanoseconds pace) const;
  [[nodiscard]] bool keepSilent(std::chrono::nanoseconds duration) const;
  void reset() const;

  int socket_;
  gnutls_session_int* tlsSession_;
  const Signal& ending_;
  services::Network* network_;
  std::uint16_t clientPort_;
  std::uint16_t serverPort_;
};

}  // namespace pellion
