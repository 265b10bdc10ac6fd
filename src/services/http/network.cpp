#include "services/http/network.h"

#include <curl/curl.h>
#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "services/http/handler_pool.h"
#include "services/http/request_owner.h"
#include "services/http/url_load.h"

namespace services {
namespace {

constexpr std::size_t maximumTransfers = 256;  // each takes one or two descriptors; the others wait
constexpr std::size_t handlerThreads = 4;

void initializeLibcurl() {
  static const CURLcode done = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (done != CURLE_OK) throw std::bad_alloc();
}

bool isAbout(const Silence& silence, CURL* handle) {
  long clientPort = 0;
  long serverPort = 0;
  curl_easy_getinfo(handle, CURLINFO_LOCAL_PORT, &clientPort);
  curl_easy_getinfo(handle, CURLINFO_PRIMARY_PORT, &serverPort);
  return clientPort == silence.clientPort && serverPort == silence.serverPort;
}

bool hasUnread(CURL* handle) {
  curl_socket_t socket = CURL_SOCKET_BAD;
  curl_easy_getinfo(handle, CURLINFO_ACTIVESOCKET, &socket);
  pollfd readable{socket, POLLIN, 0};
  return poll(&readable, 1, 0) > 0;
}

}  // namespace

// A load is in `loads_` from its start until its handler has run or has been released without running. No load of an
// ending process is added, so to end a process is to wait until it has none there. All functions after run() belong to
// the network thread.
class Network::Implementation {
 public:
  Implementation() : multi_((initializeLibcurl(), curl_multi_init())) {
    if (!multi_) throw std::bad_alloc();
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  ~Implementation();

  void start(const std::shared_ptr<Load>& load);
  void announce(Silence silence);
  void endRequests(const RequestOwner& owner);
  void forget(const RequestOwner& owner);

 private:
  struct Cleanup {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  using Loads = std::set<std::shared_ptr<Load>>;

  void makeThreads();
  bool add(const std::shared_ptr<Load>& load);
  void endRequests(const RequestOwner& owner, std::unique_lock<std::mutex>& lock);
  void run();
  bool takeIncoming();
  void dropCancelled();
  void admitWaiting();
  void keepSilences();
  void keep(Silence silence, const std::shared_ptr<Load>& load);
  void waitForProgress();
  void collectEnded();
  void endOverdue();
  void begin(const std::shared_ptr<Load>& load);
  void end(CURL* handle, CURLcode result);
  void deliver(std::shared_ptr<Load> load);

  std::unique_ptr<CURLM, Cleanup> multi_;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::unordered_map<const RequestOwner*, Loads> loads_;
  std::set<const RequestOwner*> endedOwners_;  // until forget()
  std::vector<std::shared_ptr<Load>> incoming_;
  std::vector<Silence> announced_;
  bool isEnding_ = false;

  TrustStores trustStores_;
  std::multimap<float, std::shared_ptr<Load>, std::greater<>> waiting_;  // by priority, then in order of arrival
  std::unordered_map<CURL*, std::shared_ptr<Load>> active_;
  std::vector<Silence> silences_;  // whose connections may still have bytes to read

  std::unique_ptr<HandlerPool> handlers_;
  std::thread thread_;
};

Network::Implementation::~Implementation() {
  {
    std::unique_lock lock(mutex_);
    while (!loads_.empty()) endRequests(*loads_.begin()->first, lock);
    isEnding_ = true;
  }
  curl_multi_wakeup(multi_.get());
  if (thread_.joinable()) thread_.join();
}

void Network::Implementation::start(const std::shared_ptr<Load>& load) {
  RequestOwner& owner = load->owner();
  try {
    makeThreads();
  } catch (const std::system_error& error) {
    load->failToStart(error.what());
    // There is no thread for the handler either, and it must not run inside this call.
    owner.after(std::chrono::nanoseconds::zero(), [load] { load->deliver(); });
    return;
  }
  owner.beginOutsideWork();
  if (add(load)) return;
  load->cancel();
  load->deliver();
  owner.endOutsideWork();
}

void Network::Implementation::makeThreads() {
  const std::lock_guard lock(mutex_);
  if (thread_.joinable()) return;
  if (handlers_ == nullptr) handlers_ = std::make_unique<HandlerPool>(handlerThreads);
  thread_ = std::thread([this] { run(); });
}

// Returns false for a load of a process that has ended.
bool Network::Implementation::add(const std::shared_ptr<Load>& load) {
  const std::lock_guard lock(mutex_);
  if (endedOwners_.contains(&load->owner())) return false;
  loads_[&load->owner()].insert(load);
  incoming_.push_back(load);
  curl_multi_wakeup(multi_.get());
  return true;
}

void Network::Implementation::announce(Silence silence) {
  const std::lock_guard lock(mutex_);
  announced_.push_back(std::move(silence));
  curl_multi_wakeup(multi_.get());
}

void Network::Implementation::endRequests(const RequestOwner& owner) {
  std::unique_lock lock(mutex_);
  endRequests(owner, lock);
}

void Network::Implementation::endRequests(const RequestOwner& owner, std::unique_lock<std::mutex>& lock) {
  endedOwners_.insert(&owner);
  const auto found = loads_.find(&owner);
  if (found == loads_.end()) return;
  for (const std::shared_ptr<Load>& load : found->second) load->cancel();
  curl_multi_wakeup(multi_.get());
  ended_.wait(lock, [&] { return !loads_.contains(&owner); });
}

void Network::Implementation::forget(const RequestOwner& owner) {
  std::unique_lock lock(mutex_);
  endRequests(owner, lock);
  endedOwners_.erase(&owner);
}

void Network::Implementation::run() {
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);  // a lost connection is an error of its transfer and must not end the program
  pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
  while (takeIncoming()) {
    dropCancelled();
    admitWaiting();
    keepSilences();
    waitForProgress();
    int running = 0;
    curl_multi_perform(multi_.get(), &running);
    collectEnded();
    endOverdue();
  }
}

bool Network::Implementation::takeIncoming() {
  const std::lock_guard lock(mutex_);
  for (std::shared_ptr<Load>& load : incoming_) waiting_.emplace(load->priority(), std::move(load));
  incoming_.clear();
  std::ranges::move(std::exchange(announced_, {}), std::back_inserter(silences_));
  return !isEnding_;
}

void Network::Implementation::dropCancelled() {
  std::erase_if(waiting_, [this](const auto& entry) {
    if (!entry.second->isCancelled()) return false;
    deliver(entry.second);
    return true;
  });
  std::erase_if(active_, [this](const auto& entry) {
    if (!entry.second->isCancelled()) return false;
    curl_multi_remove_handle(multi_.get(), entry.first);
    entry.second->drop();
    deliver(entry.second);
    return true;
  });
}

void Network::Implementation::admitWaiting() {
  while (!waiting_.empty() && active_.size() < maximumTransfers) {
    begin(waiting_.extract(waiting_.begin()).mapped());
  }
}

void Network::Implementation::keepSilences() {
  std::erase_if(silences_, [this](Silence& silence) {
    const auto found = std::ranges::find_if(active_, [&](const auto& entry) { return isAbout(silence, entry.first); });
    if (found == active_.end()) return true;
    if (hasUnread(found->first)) return false;
    keep(std::move(silence), found->second);
    return true;
  });
}

void Network::Implementation::keep(Silence silence, const std::shared_ptr<Load>& load) {
  RequestOwner& owner = load->owner();
  const std::chrono::nanoseconds limit = owner.networkPolicy().requestTimeout;
  const bool timesOut = silence.duration >= limit;
  load->beginSilence();
  owner.after(std::min(silence.duration, limit), [this, load, timesOut, end = std::move(silence.end)] {
    if (!load->endSilence(timesOut)) return;
    if (timesOut) {
      curl_multi_wakeup(multi_.get());
    } else {
      end();
    }
  });
  owner.endOutsideWork();
}

void Network::Implementation::waitForProgress() {
  std::chrono::milliseconds wait = std::chrono::hours(1);
  const Transfer::Time now = std::chrono::steady_clock::now();
  for (const auto& [handle, load] : active_) {
    wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(load->deadline() - now));
  }
  curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(std::max<std::int64_t>(wait.count(), 0)), nullptr);
}

void Network::Implementation::collectEnded() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg == CURLMSG_DONE) end(message->easy_handle, message->data.result);
  }
}

void Network::Implementation::endOverdue() {
  const Transfer::Time now = std::chrono::steady_clock::now();
  std::vector<CURL*> overdue;
  for (const auto& [handle, load] : active_) {
    if (load->deadline() <= now) overdue.push_back(handle);
  }
  for (CURL* const handle : overdue) end(handle, CURLE_OPERATION_TIMEDOUT);
}

void Network::Implementation::begin(const std::shared_ptr<Load>& load) {
  CURL* const handle = load->begin(trustStores_);
  if (handle == nullptr) {
    deliver(load);
  } else {
    active_.emplace(handle, load);
    curl_multi_add_handle(multi_.get(), handle);
  }
}

void Network::Implementation::end(CURL* handle, CURLcode result) {
  const std::shared_ptr<Load> load = active_.extract(handle).mapped();
  curl_multi_remove_handle(multi_.get(), handle);
  if (load->end(result)) {
    begin(load);
  } else {
    deliver(load);
  }
}

void Network::Implementation::deliver(std::shared_ptr<Load> load) {
  load->endSilence();
  const std::shared_ptr<HandlerPool::Queue> queue = load->queue();
  handlers_->async(queue, [this, load = std::move(load)] {
    load->deliver();
    RequestOwner& owner = load->owner();
    owner.endOutsideWork();
    const std::lock_guard lock(mutex_);  // after the next line, the owner may be gone
    Loads& loads = loads_.at(&owner);
    loads.erase(load);
    if (loads.empty()) loads_.erase(&owner);
    ended_.notify_all();
  });
}

Network::Network() : implementation_(std::make_unique<Implementation>()) {}
Network::~Network() = default;
void Network::start(const std::shared_ptr<Load>& load) { implementation_->start(load); }
void Network::announce(Silence silence) { implementation_->announce(std::move(silence)); }
void Network::endRequests(const RequestOwner& owner) { implementation_->endRequests(owner); }
void Network::forget(const RequestOwner& owner) { implementation_->forget(owner); }

}  // namespace services
