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

/// Sends exactly these bytes to a port of loopback and receives bytes until the connection ends or there are enough.
inline Reply call(std::uint16_t port, std::string_view bytes,
                  std::size_t enough = std::numeric_limits<std::size_t>::max(), in_addr_t host = INADDR_LOOPBACK) {
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(host);
  Reply reply;
  if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    while (!bytes.empty()) {
      const ssize_t count = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) break;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    std::array<char, 4096> part{};
    for (ssize_t count = 1; reply.bytes.size() < enough && count > 0;) {
      count = recv(descriptor, part.data(), part.size(), 0);
      if (count > 0) reply.bytes.append(part.data(), static_cast<std::size_t>(count));
      if (count < 0) reply.error = errno;
    }
  } else {
    reply.error = errno;
  }
  close(descriptor);
  return reply;
}

inline std::string exchange(std::uint16_t port, std::string_view bytes) { return call(port, bytes).bytes; }

inline std::string post(std::string_view target, std::string_view headers = "", std::string_view body = "") {
  return "POST " + std::string(target) +
         " HTTP/1.1\r\nHost: h\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
         std::string(headers) + "\r\n" + std::string(body);
}

}  // namespace test
