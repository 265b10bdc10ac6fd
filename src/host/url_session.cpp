#include "platform/url_session.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "host/load.h"
#include "host/network.h"
#include "host/process.h"

namespace host {
namespace {

class DataTask final : public platform::URLSession::DataTask {
 public:
  explicit DataTask(Load::Task task) : task_(std::move(task)) {}

  void setPriority(float priority) override { task_.priority = std::clamp(priority, 0.0F, 1.0F); }
  void resume() override {
    if (isResumed_.exchange(true)) return;
    if (task_.process.hasListener()) tellOfRequest();
    task_.process.network().start(std::make_shared<Load>(std::move(task_)));
  }

 private:
  void tellOfRequest() const {
    const std::optional<platform::URL>& url = task_.request.url;
    task_.process.tell("network", "sends",
                       platform::Value::dictionary({{"method", task_.request.httpMethod},
                                                    {"url", url ? platform::Value(url->absoluteString()) : nullptr}}));
  }

  Load::Task task_;
  std::atomic<bool> isResumed_ = false;
};

class URLSession final : public platform::URLSession, public std::enable_shared_from_this<URLSession> {
 public:
  explicit URLSession(Process& process) : process_(process) {}

  std::shared_ptr<DataTask> dataTaskWithRequest(platform::URLRequest request, DataTaskHandler handler) override {
    // A task keeps its session by the session's queue.
    const std::shared_ptr<HandlerPool::Queue> queue(shared_from_this(), &queue_);
    return std::make_shared<host::DataTask>(
        Load::Task{process_, queue, std::move(request), std::move(handler), platform::URLSessionTaskPriorityDefault});
  }

 private:
  Process& process_;
  HandlerPool::Queue queue_;
};

}  // namespace
}  // namespace host

namespace platform {

std::shared_ptr<URLSession> URLSession::sessionWithDefaultConfiguration() {
  host::Process& process = host::Process::current();
  if (process.sessionFactory()) return process.sessionFactory()();
  return std::make_shared<host::URLSession>(process);
}

}  // namespace platform
