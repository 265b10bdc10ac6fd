#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <limits>
#include <string>
#include <string_view>

namespace test {

struct Reply {
  std::string bytes;
  int error = 0;  ///< that of connect() or recv(), 0 when the other side closed or enough came
};

/// A connection to a port of loopback, which sends exactly these bytes first.
class RawConnection {
 public:
  RawConnection(std::uint16_t port, std::string_view bytes, in_addr_t host = INADDR_LOOPBACK)
      : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(host);
    if (connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) error_ = errno;
    while (error_ == 0 && !bytes.empty()) {
      const ssize_t count = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) break;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;
  ~RawConnection() { close(descriptor_); }

  /// Receives bytes until the function finds all received so far to be enough, or until the connection ends.
  template <class IsEnough>
  void read(IsEnough isEnough) {
    std::array<char, 4096> part{};
    for (ssize_t count = 1; error_ == 0 && count > 0 && !isEnough(received_);) {
      count = recv(descriptor_, part.data(), part.size(), 0);
      if (count > 0) received_.append(part.data(), static_cast<std::size_t>(count));
      if (count < 0) error_ = errno;
    }
  }
  [[nodiscard]] const std::string& received() const { return received_; }
  [[nodiscard]] int error() const { return error_; }

 private:
  int descriptor_;
  std::string received_;
  int error_ = 0;
};

/// Sends these bytes and receives others until the connection ends or there are enough.
inline Reply call(std::uint16_t port, std::string_view bytes,
                  std::size_t enough = std::numeric_limits<std::size_t>::max(), in_addr_t host = INADDR_LOOPBACK) {
  RawConnection connection(port, bytes, host);
  connection.read([enough](const std::string& received) { return received.size() >= enough; });
  return {connection.received(), connection.error()};
}

inline std::string exchange(std::uint16_t port, std::string_view bytes) { return call(port, bytes).bytes; }

inline std::string post(std::string_view target, std::string_view headers = "", std::string_view body = "") {
  return "POST " + std::string(target) +
         " HTTP/1.1\r\nHost: h\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
         std::string(headers) + "\r\n" + std::string(body);
}

}  // namespace test
