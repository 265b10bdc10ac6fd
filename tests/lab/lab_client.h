#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

/// What stands between the first `begin` and the next `end`; empty if they do not occur.
inline std::string between(std::string_view text, std::string_view begin, std::string_view end) {
  const std::size_t found = text.find(begin);
  if (found == std::string_view::npos) return "";
  text.remove_prefix(found + begin.size());
  return std::string(text.substr(0, text.find(end)));
}

/// One request to the lab over a connection of its own, as the page sends it except for what a test changes.
class LabClient {
 public:
  using Fields = std::vector<std::pair<std::string, std::string>>;

  LabClient(std::uint16_t port, std::string_view method, std::string_view target, const Fields& changed,
            std::string_view body = "")
      : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const std::string host = "127.0.0.1:" + std::to_string(port);
    Fields fields{{"Host", host}, {"Connection", "close"}, {"Origin", "http://" + host}};
    if (!body.empty()) {
      fields.insert(fields.end(),
                    {{"Content-Type", "application/json"}, {"Content-Length", std::to_string(body.size())}});
    }
    for (const auto& change : changed) {
      std::erase_if(fields, [&](const auto& field) { return field.first == change.first; });
      fields.push_back(change);
    }
    std::string bytes = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\n";
    for (const auto& [name, value] : fields) bytes.append(name).append(": ").append(value).append("\r\n");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return;
    bytes.append("\r\n").append(body);
    for (std::string_view rest = bytes; !rest.empty();) {
      const ssize_t count = send(socket_, rest.data(), rest.size(), MSG_NOSIGNAL);
      if (count <= 0) return;
      rest.remove_prefix(static_cast<std::size_t>(count));
    }
  }
  LabClient(const LabClient&) = delete;
  LabClient& operator=(const LabClient&) = delete;
  ~LabClient() { close(socket_); }

  /// Receives bytes until they contain the text, or until the connection ends. Returns all bytes so far.
  const std::string& readUntil(std::string_view text) {
    std::array<char, 4096> part{};
    while (text.empty() || received_.find(text) == std::string::npos) {
      const ssize_t count = recv(socket_, part.data(), part.size(), 0);
      if (count <= 0) break;
      received_.append(part.data(), static_cast<std::size_t>(count));
    }
    return received_;
  }
  const std::string& readAll() { return readUntil(""); }

 private:
  int socket_;
  std::string received_;
};

}  // namespace test
