#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "platform/url_session.h"
#include "services/http/http_exchange.h"
#include "services/http/trust_store.h"
#include "services/url_loading/handler_pool.h"
#include "services/url_loading/request_outcome.h"
#include "services/url_loading/request_owner.h"

namespace services {

/// One resumed task: a chain of transfers on the network thread, then its handler on its session's queue.
class Load {
 public:
  struct Task {
    RequestOwner& owner;  ///< the session's; outlives the load, because the owner's end waits for the load
    std::shared_ptr<HandlerPool::Queue> queue;
    platform::URLRequest request;
    platform::URLSession::DataTaskHandler handler;
    float priority;
  };

  /// What loads share on the network thread.
  struct Resources {
    TrustStores trustStores;
    EasyHandles handles;
  };

  explicit Load(Task task) : task_(std::move(task)) {}

  [[nodiscard]] RequestOwner& owner() const { return task_.owner; }
  [[nodiscard]] const std::shared_ptr<HandlerPool::Queue>& queue() const { return task_.queue; }
  [[nodiscard]] float priority() const { return task_.priority; }

  /// Any thread. The handler will not run, unless it is already running.
  void cancel() { isCancelled_ = true; }
  [[nodiscard]] bool isCancelled() const { return isCancelled_; }

  /// Any thread. Returns false when there is no silence, or no longer. The owner's time stands still again.
  bool endSilence(bool timesOut = false);

  /// Instead of begin(), when there are no threads for the transfer.
  void failToStart(const std::string& reason);

  // The network thread.
  /// Makes the next transfer; returns null when the load has failed instead.
  CURL* begin(Resources& resources);
  /// When the transfer times out, unless it makes progress before.
  [[nodiscard]] Transfer::Time deadline() const;
  /// From now on the owner's time decides when the transfer times out, until the silence ends.
  void beginSilence() { waiting_ = Waiting::silence; }
  /// Processes the transfer's end; returns true when another transfer follows.
  bool end(CURLcode result);
  void drop();
  /// Of the transfer since begin().
  [[nodiscard]] CURL* handle() const { return transfer_->handle(); }

  /// A handler thread, or the main thread if there is none, once. Reports the outcome, runs the handler, unless
  /// cancelled, and releases it; all run as code of the owner.
  void deliver();

 private:
  CURL* fail(platform::Error error);
  void decodeBody();
  void runHandler();
  void reportRequest();
  void reportRedirect() const;
  void reportOutcome(const platform::Value* data) const;
  void measure();
  void conclude(bool runsHandler);

  Task task_;
  std::atomic<bool> isCancelled_ = false;
  enum class Waiting { server, silence, tooLong };
  std::atomic<Waiting> waiting_ = Waiting::server;
  std::atomic<Transfer::Time> silenceEnded_ = Transfer::Time();
  std::unique_ptr<Transfer> transfer_;
  int redirects_ = 0;
  bool isSent_ = false;  // the current transfer's request; only kept for a listener
  std::optional<platform::HTTPURLResponse> response_;
  std::string body_;
  std::optional<platform::Error> error_;
  RequestOutcome outcome_;  // kept only for an owner that wants it
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

}  // namespace services
