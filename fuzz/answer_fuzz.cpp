#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "fuzz/phone.h"
#include "host/ascii.h"
#include "host/transfer.h"
#include "network/PLTokenManager.h"

// A backend's answer, byte for byte: what the session makes of it, and what the token manager makes of that.

namespace fuzz {
namespace {

using platform::Value;

/// Answers each request with the same bytes, one after the other, and says no more.
class Server {
 public:
  Server() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, plain, size) != 0 || listen(listener_, 64) != 0) std::abort();
    getsockname(listener_, plain, &size);
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    thread_ = std::thread([this] { serve(); });
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }

  [[nodiscard]] const std::string& url() const { return url_; }
  void setAnswer(std::string_view answer) {
    const std::lock_guard lock(mutex_);
    answer_ = answer;
  }

 private:
  void serve() {
    for (int connection = 0; (connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
      std::string request;
      while (request.find("\r\n\r\n") == std::string::npos && read(connection, request)) {
      }
      write(connection);
      shutdown(connection, SHUT_WR);
      while (read(connection, request)) {
      }
      close(connection);
    }
  }
  static bool read(int connection, std::string& to) {
    char buffer[4096];
    const ssize_t size = recv(connection, buffer, sizeof buffer, 0);
    if (size > 0) to.append(buffer, static_cast<std::size_t>(size));
    return size > 0;
  }
  void write(int connection) {
    const std::lock_guard lock(mutex_);
    for (std::string_view rest = answer_; !rest.empty();) {
      const ssize_t size = send(connection, rest.data(), rest.size(), MSG_NOSIGNAL);
      if (size <= 0) return;
      rest.remove_prefix(static_cast<std::size_t>(size));
    }
  }

  int listener_;
  std::string url_;
  std::mutex mutex_;
  std::string answer_;
  std::thread thread_;
};

struct Backend {
  Server server;
  Phone phone{server.url()};
};

/// What the session hands to a handler.
struct Answer {
  int count = 0;
  std::optional<Value> data;
  std::optional<platform::HTTPURLResponse> response;
  std::optional<platform::Error> error;
};

Answer load(Backend& backend) {
  Answer answer;
  backend.phone.observe([&] {
    platform::URLRequest request;
    request.url = platform::URL::URLWithString(backend.server.url() + "/a");
    request.httpMethod = "POST";
    const auto session = platform::URLSession::sessionWithDefaultConfiguration();
    const auto task = session->dataTaskWithRequest(
        std::move(request),
        [&](const Value* data, const platform::HTTPURLResponse* response, const platform::Error* error) {
          ++answer.count;
          if (data != nullptr) answer.data = *data;
          if (response != nullptr) answer.response = *response;
          if (error != nullptr) answer.error = *error;
        });
    task->resume();
  });
  return answer;
}

void requireWhole(const Answer& answer, std::string_view bytes) {
  require(answer.count == 1, "the handler runs once");
  if (answer.error) {
    require(answer.error->domain == platform::urlErrorDomain && answer.error->code < 0 &&
                !answer.error->localizedDescription.empty(),
            "an error has a code and a text", answer.error->description());
    return require(!answer.data, "there is no body beside an error");
  }
  require(answer.data && answer.response, "an answer without an error is whole");
  require(answer.data->bytes().size() <= host::Transfer::maximumBodySize, "a body keeps to the limit");
  require(answer.response->statusCode >= 200 && answer.response->statusCode <= 999, "an answer has a final status");
  for (const auto& [name, value] : answer.response->headers.fields()) {
    require(value.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos, "a field's value is one line",
            name);
  }
  constexpr std::string_view plain = "HTTP/1.1 200 OK\r\n\r\n";
  require(!bytes.starts_with(plain) || textOf(answer.data->bytes()) == bytes.substr(plain.size()),
          "the body of an answer without fields is the rest of it");
}

/// The manager's judgement, and that it keeps the accepted token and no other.
void requireJudged(Backend& backend, const Answer& answer) {
  static std::uint32_t tokens = 0;
  const std::string number = std::to_string(++tokens);
  const Value token = Value::bytes(number);
  std::atomic<int> completed = 0;
  std::atomic<bool> accepted = false;
  backend.phone.observe([&] {
    PLTokenManager::sharedInstance().sendTokenToServer(token, [&](bool success) {
      ++completed;
      accepted = success;
    });
    PLTokenManager::sharedInstance().registerAPNSToken(&token);
  });
  const bool isAccepted = !answer.error && answer.response->statusCode == 200 &&
                          platform::JSONSerialization::JSONObjectWithData(answer.data->bytes(), nullptr).has_value();
  require(completed == 1 && accepted == isAccepted, "accepted is status 200 with JSON, and nothing else");
  const std::optional<Value> kept = backend.phone->keychain().data("com.tovrin.pellion.apnstoken");
  require((kept == token) == isAccepted, "an accepted token is kept, another is not");
}

/// No request leaves the machine: an answer may send the client to any host that speaks TLS.
bool mayLeadAway(std::string_view answer) { return host::asciiLowercase(answer).find("https") != std::string::npos; }

}  // namespace

void run(std::string_view input) {
  if (mayLeadAway(input)) return;
  thread_local Backend backend;
  backend.server.setAnswer(input);
  const Answer answer = load(backend);
  requireWhole(answer, input);
  requireJudged(backend, answer);
}

}  // namespace fuzz
