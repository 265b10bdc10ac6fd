#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/dispatch.h"
#include "platform/url_session.h"

namespace test {

/// A request that was resumed. The code that receives it calls the handler, once.
struct SentRequest {
  platform::URLRequest request;
  float priority = platform::URLSessionTaskPriorityDefault;
  platform::URLSession::DataTaskHandler handler;
};

inline void answer(const SentRequest& sent, int status = 200, std::string_view body = "{}") {
  const platform::HTTPURLResponse response{*sent.request.url, status, {}};
  const platform::Value data = platform::Value::bytes(body);
  sent.handler(&data, &response, nullptr);
}

/// A server that answers later, on the main queue.
inline auto answerLater(int status = 200) {
  return [status](const SentRequest& sent) { platform::dispatchAsyncOnMainQueue([=] { answer(sent, status); }); };
}

/// A session without a network: passes resumed requests to the server.
class OfflineSession : public platform::URLSession {
 public:
  using Server = std::function<void(SentRequest)>;
  explicit OfflineSession(Server server = answerLater()) : server_(std::move(server)) {}

  std::shared_ptr<DataTask> dataTaskWithRequest(platform::URLRequest request, DataTaskHandler handler) override {
    auto task = std::make_shared<Task>();
    task->sent.request = std::move(request);
    task->sent.handler = std::move(handler);
    task->server = server_;
    return task;
  }

 private:
  struct Task : DataTask {
    void setPriority(float priority) override { sent.priority = priority; }
    void resume() override { server(std::move(sent)); }
    SentRequest sent;
    Server server;
  };
  Server server_;
};

}  // namespace test
