#pragma once

#include <memory>
#include <utility>

#include "platform/dispatch.h"
#include "platform/url_session.h"

namespace test {

/// Accepts every request without a network, later on the main queue.
class AcceptingSession : public platform::URLSession {
 public:
  std::shared_ptr<platform::URLSession::DataTask> dataTaskWithRequest(platform::URLRequest request,
                                                                      DataTaskHandler handler) override {
    return std::make_shared<Task>(std::move(request), std::move(handler));
  }

 private:
  struct Task : DataTask {
    Task(platform::URLRequest made, DataTaskHandler told) : request(std::move(made)), handler(std::move(told)) {}
    void setPriority(float) override {}
    void resume() override {
      platform::dispatchAsyncOnMainQueue([url = *request.url, handler = handler] {
        const platform::HTTPURLResponse response{url, 200, {}};
        const platform::Value body = platform::Value::bytes("{}");
        handler(&body, &response, nullptr);
      });
    }
    platform::URLRequest request;
    DataTaskHandler handler;
  };
};

}  // namespace test
