#include "services/url_loading/url_session.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "services/url_loading/network.h"
#include "services/url_loading/request_owner.h"
#include "services/url_loading/url_load.h"

namespace services {
namespace {

class DataTask final : public platform::URLSession::DataTask {
 public:
  explicit DataTask(Load::Task task) : task_(std::move(task)) {}

  void setPriority(float priority) override { task_.priority = std::clamp(priority, 0.0F, 1.0F); }
  void resume() override {
    if (isResumed_.exchange(true)) return;
    task_.owner.network().start(std::make_shared<Load>(std::move(task_)));
  }

 private:
  Load::Task task_;
  std::atomic<bool> isResumed_ = false;
};

class URLSession final : public platform::URLSession, public std::enable_shared_from_this<URLSession> {
 public:
  explicit URLSession(RequestOwner& owner) : owner_(owner) {}

  std::shared_ptr<DataTask> dataTaskWithRequest(platform::URLRequest request, DataTaskHandler handler) override {
    // A task keeps its session alive through the session's queue.
    const std::shared_ptr<HandlerPool::Queue> queue(shared_from_this(), &queue_);
    return std::make_shared<services::DataTask>(
        Load::Task{owner_, queue, std::move(request), std::move(handler), platform::URLSessionTaskPriorityDefault});
  }

 private:
  RequestOwner& owner_;
  HandlerPool::Queue queue_;
};

}  // namespace

std::shared_ptr<platform::URLSession> makeURLSession(RequestOwner& owner) {
  return std::make_shared<URLSession>(owner);
}

}  // namespace services
