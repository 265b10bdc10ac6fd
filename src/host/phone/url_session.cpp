#include "platform/url_session.h"

#include <string>
#include <utility>
#include <vector>

#include "host/phone/process.h"
#include "platform/json_serialization.h"
#include "services/http/url_session.h"

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

/// Every failure is reported, because each request carries something of its own.
void reportUnlessAccepted(Process& process, bool isRegistration, const Value* data, const HTTPURLResponse* response,
                          const Error* error) {
  std::vector<Value::Entry> details;
  if (error != nullptr || response == nullptr) {
    details.push_back({"reason", error != nullptr ? "the request failed with error " + std::to_string(error->code)
                                                  : "there is no response"});
    details.push_back({"remedy", R"(docs/troubleshooting.md lists the errors under "Requests fail")"});
  } else {
    const bool isOK = response->statusCode == 200;
    const platform::ByteView body = data != nullptr ? data->bytes() : platform::ByteView();
    if (isOK && platform::JSONSerialization::JSONObjectWithData(body, nullptr)) return;
    details.push_back({"status", response->statusCode});
    details.push_back({"reason", isOK ? "its body is not JSON" : "its status is not 200"});
    details.push_back({"remedy", "let the backend answer 200 with a JSON body"});
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
