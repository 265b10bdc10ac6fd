#include <atomic>

#include "fuzz/phone.h"
#include "network/PLTokenManager.h"
#include "pellion/backend/backend.h"
#include "services/http/http_exchange.h"
#include "value/ascii.h"

// A backend's answer, byte for byte: how the session reads it, and how the token manager judges the result.

namespace fuzz {
namespace {

using platform::Value;

/// A backend that answers every request with the same bytes, and a phone.
struct Peers {
  void setAnswer(std::string_view bytes) { backend.answerWith({.raw = std::string(bytes)}); }

  pellion::Backend backend{{.keepsRequests = false}};
  Phone phone{backend.url()};
};

/// What the session passes to a handler.
struct Answer {
  int count = 0;
  std::optional<Value> data;
  std::optional<platform::HTTPURLResponse> response;
  std::optional<platform::Error> error;
};

Answer load(Peers& peers) {
  Answer answer;
  peers.phone.observe([&] {
    platform::URLRequest request;
    request.url = platform::URL::URLWithString(peers.backend.url() + "/a");
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
    return require(!answer.data, "a response with an error has no body");
  }
  require(answer.data && answer.response, "a response without an error is complete");
  require(answer.data->bytes().size() <= services::Transfer::maximumBodySize, "a body is not larger than the limit");
  require(answer.response->statusCode >= 200 && answer.response->statusCode <= 999, "a response has a final status");
  for (const auto& [name, value] : answer.response->headers.fields()) {
    require(value.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos, "a field's value is one line",
            name);
  }
  constexpr std::string_view plain = "HTTP/1.1 200 OK\r\n\r\n";
  require(!bytes.starts_with(plain) || textOf(answer.data->bytes()) == bytes.substr(plain.size()),
          "the body of a response without fields is the rest of the bytes");
}

/// Checks the manager's judgement, and that it keeps only an accepted token.
void requireJudged(Peers& peers, const Answer& answer) {
  static std::uint32_t tokens = 0;
  const std::string number = std::to_string(++tokens);
  const Value token = Value::bytes(number);
  std::atomic<int> completed = 0;
  std::atomic<bool> accepted = false;
  peers.phone.observe([&] {
    PLTokenManager::sharedInstance().sendTokenToServer(token, [&](bool success) {
      ++completed;
      accepted = success;
    });
    PLTokenManager::sharedInstance().registerAPNSToken(&token);
  });
  const bool isAccepted = !answer.error && answer.response->statusCode == 200 &&
                          platform::JSONSerialization::JSONObjectWithData(answer.data->bytes(), nullptr).has_value();
  require(completed == 1 && accepted == isAccepted, "only status 200 with JSON accepts the token");
  const std::optional<Value> kept = peers.phone->keychain().data("com.tovrin.pellion.apnstoken");
  require((kept == token) == isAccepted, "only an accepted token is stored");
}

/// Whether the answer may send the client to a host that speaks TLS; such answers are skipped: requests stay local.
bool mayLeadAway(std::string_view answer) { return value::asciiLowercase(answer).find("https") != std::string::npos; }

}  // namespace

void run(std::string_view input) {
  if (mayLeadAway(input)) return;
  thread_local Peers peers;
  peers.setAnswer(input);
  const Answer answer = load(peers);
  requireWhole(answer, input);
  requireJudged(peers, answer);
}

}  // namespace fuzz
