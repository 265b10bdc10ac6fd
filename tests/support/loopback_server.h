#pragma once

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/certificates.h"

namespace test {

/// A server on loopback that records what arrives, byte by byte, and responds as its script says: one request per
/// connection, each connection on its own thread. It uses TLS when it has an identity.
class LoopbackServer {
 public:
  struct Request {
    std::string head;  ///< up to and including the empty line
    std::string body;  ///< as long as its Content-Length
  };
  enum class Then { close, cut, reset, hold };  ///< cut: without TLS's closing message; hold: until the client closes
  struct Reply {
    std::string bytes;
    Then then = Then::close;
  };
  using Script = std::function<Reply(const Request&)>;

  explicit LoopbackServer(Script script, const std::optional<Identity>& identity = std::nullopt)
      : script_(std::move(script)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (identity) {
      tls_.reset(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
      SSL_CTX_set_security_level(tls_.get(), 0);  // so that only the client refuses a connection
      SSL_CTX_set_cipher_list(tls_.get(), identity->ciphers.c_str());
      SSL_CTX_set_max_proto_version(tls_.get(), identity->newestVersion);
      SSL_CTX_use_certificate(tls_.get(), identity->certificate.get());
      SSL_CTX_use_PrivateKey(tls_.get(), identity->key.get());
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, plain, size) != 0 || listen(listener_, 64) != 0) std::abort();
    getsockname(listener_, plain, &size);
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptAll(); });
  }
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;
  ~LoopbackServer() {
    shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    for (const auto& connection : connections_) shutdown(connection->socket, SHUT_RDWR);
    for (const auto& connection : connections_) connection->thread.join();
    for (const auto& connection : connections_) close(connection->socket);
    close(listener_);
  }

  [[nodiscard]] std::string authority(const std::string& host = "127.0.0.1") const {
    return host + ":" + std::to_string(port_);
  }
  [[nodiscard]] std::string url(const std::string& path, const std::string& host = "127.0.0.1") const {
    return (tls_ ? "https://" : "http://") + authority(host) + path;
  }
  [[nodiscard]] std::vector<Request> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

  /// A complete answer; each of `fields` ends with a line break.
  static std::string answer(const std::string& status, const std::string& body = "", const std::string& fields = "") {
    return "HTTP/1.1 " + status + "\r\n" + fields + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body;
  }

 private:
  struct Connection {
    int socket;
    std::shared_ptr<SSL> tls;
    std::thread thread;

    bool read(std::string& to) const {
      std::vector<char> buffer(65536);
      const auto size = tls ? SSL_read(tls.get(), buffer.data(), static_cast<int>(buffer.size()))
                            : recv(socket, buffer.data(), buffer.size(), 0);
      if (size > 0) to.append(buffer.data(), static_cast<std::size_t>(size));
      return size > 0;
    }
    void write(std::string_view bytes) const {
      while (!bytes.empty()) {
        const auto size = tls ? SSL_write(tls.get(), bytes.data(), static_cast<int>(bytes.size()))
                              : ::send(socket, bytes.data(), bytes.size(), 0);
        if (size <= 0) return;
        bytes.remove_prefix(static_cast<std::size_t>(size));
      }
    }
  };

  void acceptAll() {
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);  // inherited by the connections' threads
    for (int socket = 0; (socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
      Connection& connection = *connections_.emplace_back(new Connection{socket, nullptr, {}});
      connection.thread = std::thread([this, &connection] { serve(connection); });
    }
  }

  void serve(Connection& connection) {
    Then then = Then::close;
    if (!tls_ || accept(connection)) {
      if (const std::optional<Request> request = receive(connection)) {
        const Reply reply = script_(*request);
        connection.write(reply.bytes);
        then = reply.then;
      }
    }
    std::string ignored;
    while (then == Then::hold && connection.read(ignored)) ignored.clear();
    const sockaddr unspecified{AF_UNSPEC, {}};
    if (then == Then::reset) connect(connection.socket, &unspecified, sizeof unspecified);  // Linux then sends a reset
    if (connection.tls && then != Then::cut) SSL_shutdown(connection.tls.get());
    shutdown(connection.socket, SHUT_RDWR);
  }

  bool accept(Connection& connection) const {
    connection.tls.reset(SSL_new(tls_.get()), SSL_free);
    SSL_set_fd(connection.tls.get(), connection.socket);
    return SSL_accept(connection.tls.get()) == 1;
  }

  std::optional<Request> receive(const Connection& connection) {
    Request request;
    std::size_t end = std::string::npos;
    while ((end = request.head.find("\r\n\r\n")) == std::string::npos) {
      if (!connection.read(request.head)) return std::nullopt;
    }
    request.body = request.head.substr(end + 4);
    request.head.resize(end + 4);
    const std::size_t field = request.head.find("\r\nContent-Length: ");
    const std::size_t size = field == std::string::npos ? 0 : std::stoul(request.head.substr(field + 18));
    while (request.body.size() < size && connection.read(request.body)) {
    }
    const std::lock_guard lock(mutex_);
    return requests_.emplace_back(std::move(request));
  }

  Script script_;
  int listener_;
  int port_ = 0;
  std::shared_ptr<SSL_CTX> tls_;
  std::vector<std::unique_ptr<Connection>> connections_;  // used by the acceptor, then by the destructor
  std::thread acceptor_;
  mutable std::mutex mutex_;
  std::vector<Request> requests_;
};

}  // namespace test
