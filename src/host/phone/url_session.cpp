#include "platform/url_session.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/phone/process.h"
#include "platform/json_serialization.h"
#include "services/url_loading/url_session.h"
#include "value/printable_text.h"

namespace host {
namespace {

using platform::Error;
using platform::HTTPURLResponse;
using platform::URLSession;
using platform::Value;

/// What the module makes of a failure. It keeps nothing for later: statistics that were pending are removed from the
/// store when they are sent.
const char* consequence(bool isRegistration) {
  return isRegistration ? "the token is not stored, and nothing registers it again by itself in this launch"
                        : "the statistics are dropped, and nothing sends them again";
}

constexpr std::int64_t cannotFindHost = -1003;
constexpr std::int64_t certificateUntrusted = -1202;

const char* remedyFor(const Error* error) {
  if (error != nullptr && error->code == cannotFindHost) {
    return "check SERVER_URL, or DOMAIN, in the configuration; a scenario that configures one of them does not use "
           "the built-in backend";
  }
  if (error != nullptr && error->code == certificateUntrusted) {
    return "give the file of the authority that signed it as CA_FILE in the configuration, and a certificate for this "
           "host";
  }
  return R"(docs/troubleshooting.md lists the errors under "Requests fail")";
}

std::string reasonFor(const Error* error) {
  if (error == nullptr) return "there is no response";
  const std::string reason = "the request failed with error " + std::to_string(error->code);
  return error->code == certificateUntrusted ? reason + ", because the server's certificate is not trusted" : reason;
}

/// The server's own words in a response: the message in its JSON, or a body of one short line; empty if there are none.
std::string messageIn(platform::ByteView body) {
  constexpr std::size_t longest = 200;  // bytes
  const auto isShortLine = [](std::string_view text) {
    return !text.empty() && text.size() <= longest && text.find_first_of("<\r\n") == std::string_view::npos &&
           value::wellFormed(text) == text;
  };
  const auto json = platform::JSONSerialization::JSONObjectWithData(body, nullptr);
  for (const char* name : {"message", "error_description", "error", "detail", "reason"}) {
    const Value* message = json ? json->find(name) : nullptr;
    if (message != nullptr && isShortLine(message->text())) return std::string(message->text());
  }
  const std::string_view text(reinterpret_cast<const char*>(body.data()), body.size());
  return !json && isShortLine(text) ? std::string(text) : std::string();
}

/// What is wrong with the response, and what to change; nothing for one that the module accepts.
std::vector<Value::Entry> faultOf(const HTTPURLResponse& response, platform::ByteView body) {
  const bool isOK = response.statusCode == 200;
  if (isOK && platform::JSONSerialization::JSONObjectWithData(body, nullptr)) return {};
  const bool isUnauthorized = response.statusCode == 401 || response.statusCode == 403;
  const std::string message = isOK ? "" : messageIn(body);
  return {{"status", response.statusCode},
          {"reason", std::string(isOK ? "its body is not JSON" : "its status is not 200") +
                         (message.empty() ? "" : "; the server says \"" + message + '"')},
          {"remedy", isUnauthorized
                         ? "give the BEARER_TOKEN and the JWT_SECRET that the server accepts in the configuration"
                         : "let the backend answer 200 with a JSON body"}};
}

/// Every failure is reported, because each request carries something of its own.
void reportUnlessAccepted(Process& process, bool isRegistration, const Value* data, const HTTPURLResponse* response,
                          const Error* error) {
  std::vector<Value::Entry> details;
  if (error == nullptr && response != nullptr) {
    details = faultOf(*response, data != nullptr ? data->bytes() : platform::ByteView());
    if (details.empty()) return;
  } else {
    details = {{"reason", reasonFor(error)}, {"remedy", remedyFor(error)}};
  }
  details.push_back({"consequence", consequence(isRegistration)});
  process.report("module", "not accepted", Value::dictionary(details));
}

/// A session that also reports, as the event "not accepted" of the module, each request that brings it nothing: the
/// module accepts status 200 with a JSON body alone.
class ObservedSession final : public URLSession {
 public:
  ObservedSession(std::shared_ptr<URLSession> session, Process& process)
      : session_(std::move(session)), process_(process) {}

  std::shared_ptr<DataTask> dataTaskWithRequest(platform::URLRequest request, DataTaskHandler handler) override {
    // The token is in a header field of this name; a request of statistics has none.
    const bool isRegistration = request.headers.find("notificationid") != nullptr;
    return session_->dataTaskWithRequest(std::move(request),
                                         [&process = process_, isRegistration, handler = std::move(handler)](
                                             const Value* data, const HTTPURLResponse* response, const Error* error) {
                                           reportUnlessAccepted(process, isRegistration, data, response, error);
                                           handler(data, response, error);
                                         });
  }

 private:
  const std::shared_ptr<URLSession> session_;
  Process& process_;
};

}  // namespace
}  // namespace host

namespace platform {

std::shared_ptr<URLSession> URLSession::sessionWithDefaultConfiguration() {
  host::Process& process = host::Process::current();
  auto session = process.sessionFactory() ? process.sessionFactory()() : services::makeURLSession(process);
  if (!process.hasListener()) return session;
  return std::make_shared<host::ObservedSession>(std::move(session), process);
}

}  // namespace platform
