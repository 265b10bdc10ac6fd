#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "tests/support/test_phone.h"

namespace bench {

/// Accepts every request and never answers, so that the measurement ends where the transport begins.
class SilentSession : public platform::URLSession {
 public:
  std::shared_ptr<DataTask> dataTaskWithRequest(platform::URLRequest, DataTaskHandler) override {
    class Task : public DataTask {
     public:
      void setPriority(float) override {}
      void resume() override {}
    };
    static const auto task = std::make_shared<Task>();
    return task;
  }
};

/// A launched phone, current on this thread, whose log has no listener.
class QuietPhone {
 public:
  explicit QuietPhone(std::vector<platform::Value::Entry> overrides = {})
      : phone_(test::configuration("http://127.0.0.1:1", std::move(overrides))), scope_(*phone_->process()) {
    phone_->process()->setLogLevel(host::LogLevel::none);
    phone_->process()->setSessionFactory([] { return std::make_shared<SilentSession>(); });
  }

 private:
  test::TestPhone phone_;
  host::ProcessScope scope_;
};

}  // namespace bench
