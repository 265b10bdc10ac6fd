#pragma once

#include <algorithm>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/loopback_server.h"

namespace test {

/// A request as it stood on the wire.
struct RecordedRequest {
  std::string line;
  std::vector<std::string> fields;  ///< "Name: value", in wire order
  std::string body;

  /// The value of the first field of that name, letter by letter.
  [[nodiscard]] std::string header(std::string_view name) const {
    const auto field = std::ranges::find_if(
        fields, [&](const std::string& text) { return text.starts_with(name) && text.substr(name.size(), 1) == ":"; });
    return field == fields.end() ? "" : field->substr(name.size() + 2);
  }
};

/// A backend that records what it is asked and gives every request the same answer, until it is told another.
class ScriptedServer {
 public:
  ScriptedServer(int status, std::string body) : status_(status), body_(std::move(body)) {}

  [[nodiscard]] std::string url() const { return server_.url(""); }

  void answer(int status, std::string body) {
    const std::lock_guard lock(mutex_);
    status_ = status;
    body_ = std::move(body);
  }

  /// Those since the last call.
  std::vector<RecordedRequest> takeRequests() {
    std::vector<RecordedRequest> taken;
    const std::vector<LoopbackServer::Request> all = server_.requests();
    for (; taken_ < all.size(); ++taken_) taken.push_back(parse(all[taken_]));
    return taken;
  }

 private:
  static RecordedRequest parse(const LoopbackServer::Request& request) {
    RecordedRequest recorded{.line = {}, .fields = {}, .body = request.body};
    std::istringstream head(request.head);
    std::getline(head, recorded.line, '\r');
    for (std::string field; std::getline(head.ignore(), field, '\r') && !field.empty();)
      recorded.fields.push_back(field);
    return recorded;
  }

  std::mutex mutex_;
  int status_;
  std::string body_;
  std::size_t taken_ = 0;
  LoopbackServer server_{[this](const LoopbackServer::Request&) -> LoopbackServer::Reply {
    const std::lock_guard lock(mutex_);
    return {LoopbackServer::answer(std::to_string(status_) + " Scripted", body_)};
  }};
};

}  // namespace test
