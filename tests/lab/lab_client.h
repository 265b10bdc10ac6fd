#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/raw_client.h"

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
      : connection_(port, request(port, method, target, changed, body)) {}

  /// Receives bytes until they contain the text, or until the connection ends. Returns all bytes so far.
  const std::string& readUntil(std::string_view text) {
    connection_.read([text](const std::string& received) { return received.find(text) != std::string::npos; });
    return connection_.received();
  }
  const std::string& readAll() {
    connection_.read([](const std::string&) { return false; });
    return connection_.received();
  }

 private:
  static std::string request(std::uint16_t port, std::string_view method, std::string_view target,
                             const Fields& changed, std::string_view body) {
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
    return bytes.append("\r\n").append(body);
  }

  RawConnection connection_;
};

}  // namespace test
