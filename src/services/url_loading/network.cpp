#include "services/url_loading/network.h"

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
#include <optional>
#include <set>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "services/url_loading/handler_pool.h"
#include "services/url_loading/request_owner.h"
#include "services/url_loading/tcp_counters.h"
#include "services/url_loading/transfer_loop.h"
#include "services/url_loading/url_load.h"

namespace services {
namespace {

constexpr std::size_t handlerThreads = 4;
constexpr std::chrono::seconds longestWait{1};  // then a limit that was shortened meanwhile is noticed

bool isAbout(const Silence& silence, CURL* handle) {
  long clientPort = 0;
  long serverPort = 0;
  curl_easy_getinfo(handle, CURLINFO_LOCAL_PORT, &clientPort);
  curl_easy_getinfo(handle, CURLINFO_PRIMARY_PORT, &serverPort);
  return clientPort == silence.clientPort && serverPort == silence.serverPort;
}

/// Bytes that were sent before the silence have not arrived, or have not been read.
bool hasUnread(const Silence& silence, curl_socket_t socket) {
  if (bytesReceived(socket) < silence.sent) return true;
  pollfd readable{socket, POLLIN, 0};
  return poll(&readable, 1, 0) > 0;
}

}  // namespace

// A load is in `loads_` from its start until its handler has run or has been released without running. No load of an
// ending process is added, so to end a process is to wait until it has none there. All functions after run() belong to
// the network thread.
class Network::Implementation {
 public:
  explicit Implementation(Options options) : options_(options) {}
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  ~Implementation();

  void start(const std::shared_ptr<Load>& load);
  void announce(Silence silence);
  void endRequests(const RequestOwner& owner);
  void forget(const RequestOwner& owner);

 private:
  using Loads = std::vector<std::shared_ptr<Load>>;
  using Waiting = std::multimap<float, Load*, std::greater<>>;  // by priority, then in order of arrival
  using Deadlines = std::multimap<TransferLoop::Time, Load*>;
  struct Job {
    std::shared_ptr<Load> load;
    std::optional<Waiting::iterator> waiting;     // not begun
    std::optional<Deadlines::iterator> deadline;  // being transferred
  };
  using Jobs = std::unordered_map<const Load*, Job>;

  void makeThreads();
  bool add(const std::shared_ptr<Load>& load);
  void wakeUnlessAwake();
  void endRequests(const RequestOwner& owner, std::unique_lock<std::mutex>& lock);
  void run();
  bool takeIncoming();
  void reconsider(const std::shared_ptr<Load>& load);
  void admitWaiting();
  void keepSilences();
  void keep(Silence silence, const std::shared_ptr<Load>& load);
  void endOverdue();
  void begin(Job& job);
  void watch(Job& job);
  void unwatch(Job& job);
  void end(Job& job, CURLcode result);
  void deliver(const Job& job);
  void conclude(const std::shared_ptr<Load>& load);
  TransferLoop::Time passToHandlers();

  const Options options_;
  TransferLoop loop_;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::unordered_map<const RequestOwner*, Loads> loads_;
  std::set<const RequestOwner*> endedOwners_;  // until forget()
  Loads incoming_;
  Loads changed_;  // cancelled or timed out
  std::vector<Silence> announced_;
  bool isAsleep_ = false;
  bool isEnding_ = false;

  Load::Resources resources_;
  Jobs jobs_;
  Waiting waiting_;
  Deadlines deadlines_;            // of the active transfers
  std::vector<Silence> silences_;  // whose connections may still have bytes to read

  std::vector<HandlerPool::Item> delivered_;  // not yet passed to the handlers
  bool handlersWait_ = false;

  std::unique_ptr<HandlerPool> handlers_;
  std::thread thread_;
};

Network::Implementation::~Implementation() {
  {
    std::unique_lock lock(mutex_);
    while (!loads_.empty()) endRequests(*loads_.begin()->first, lock);
    isEnding_ = true;
    wakeUnlessAwake();
  }
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
  loads_[&load->owner()].push_back(load);
  incoming_.push_back(load);
  wakeUnlessAwake();
  return true;
}

/// With the mutex held. A thread that is awake looks for new work before it sleeps.
void Network::Implementation::wakeUnlessAwake() {
  if (std::exchange(isAsleep_, false)) loop_.wake();
}

void Network::Implementation::announce(Silence silence) {
  const std::lock_guard lock(mutex_);
  announced_.push_back(std::move(silence));
  wakeUnlessAwake();
}

void Network::Implementation::endRequests(const RequestOwner& owner) {
  std::unique_lock lock(mutex_);
  endRequests(owner, lock);
}

void Network::Implementation::endRequests(const RequestOwner& owner, std::unique_lock<std::mutex>& lock) {
  endedOwners_.insert(&owner);
  const auto found = loads_.find(&owner);
  if (found == loads_.end()) return;
  for (const std::shared_ptr<Load>& load : found->second) {
    load->cancel();
    changed_.push_back(load);
  }
  wakeUnlessAwake();
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
    admitWaiting();
    keepSilences();
    bool isNew = false;
    {
      const std::lock_guard lock(mutex_);
      isNew = !incoming_.empty() || !changed_.empty() || !announced_.empty() || isEnding_;
      isAsleep_ = !isNew;
    }
    TransferLoop::Time deadline = passToHandlers();
    if (!deadlines_.empty()) deadline = std::min(deadline, deadlines_.begin()->first);
    loop_.turn(isNew ? TransferLoop::Time() : deadline, [this](CURL* handle, CURLcode result) {
      Load* load = nullptr;
      curl_easy_getinfo(handle, CURLINFO_PRIVATE, &load);
      end(jobs_.at(load), result);
    });
    endOverdue();
  }
}

bool Network::Implementation::takeIncoming() {
  Loads incoming;
  Loads changed;
  {
    const std::lock_guard lock(mutex_);
    isAsleep_ = false;
    incoming.swap(incoming_);
    changed.swap(changed_);
    std::ranges::move(std::exchange(announced_, {}), std::back_inserter(silences_));
    if (isEnding_) return false;
  }
  for (std::shared_ptr<Load>& load : incoming) {
    Load* const key = load.get();
    jobs_[key] = {std::move(load), waiting_.emplace(key->priority(), key), {}};
  }
  for (const std::shared_ptr<Load>& load : changed) reconsider(load);
  return true;
}

void Network::Implementation::reconsider(const std::shared_ptr<Load>& load) {
  const auto found = jobs_.find(load.get());
  if (found == jobs_.end()) return;  // it has ended meanwhile
  Job& job = found->second;
  if (!load->isCancelled()) {
    if (job.deadline && load->deadline() <= std::chrono::steady_clock::now()) end(job, CURLE_OPERATION_TIMEDOUT);
    return;
  }
  if (job.waiting) {
    waiting_.erase(*job.waiting);
  } else {
    unwatch(job);
    load->drop();
  }
  deliver(job);
}

void Network::Implementation::admitWaiting() {
  while (!waiting_.empty() && deadlines_.size() < options_.maximumTransfers) {
    Job& job = jobs_.at(waiting_.extract(waiting_.begin()).mapped());
    job.waiting.reset();
    begin(job);
  }
}

void Network::Implementation::keepSilences() {
  std::erase_if(silences_, [this](Silence& silence) {
    const auto found =
        std::ranges::find_if(deadlines_, [&](const auto& entry) { return isAbout(silence, entry.second->handle()); });
    if (found == deadlines_.end()) return true;
    if (hasUnread(silence, loop_.socketOf(found->second->handle()))) return false;
    keep(std::move(silence), jobs_.at(found->second).load);
    return true;
  });
}

void Network::Implementation::keep(Silence silence, const std::shared_ptr<Load>& load) {
  RequestOwner& owner = load->owner();
  const std::chrono::nanoseconds limit = owner.networkPolicy()->requestTimeout;
  const bool timesOut = silence.duration >= limit;
  load->beginSilence();
  owner.after(std::min(silence.duration, limit), [this, load, timesOut, end = std::move(silence.end)] {
    if (!load->endSilence(timesOut)) return;
    if (timesOut) {
      const std::lock_guard lock(mutex_);
      changed_.push_back(load);
      wakeUnlessAwake();
    } else {
      end();
    }
  });
  owner.endOutsideWork();
}

// A deadline moves with each byte. It is only looked at when it would have passed, and then kept anew.
void Network::Implementation::endOverdue() {
  const TransferLoop::Time now = std::chrono::steady_clock::now();
  while (!deadlines_.empty() && deadlines_.begin()->first <= now) {
    Job& job = jobs_.at(deadlines_.begin()->second);
    if (job.load->deadline() <= now) {
      end(job, CURLE_OPERATION_TIMEDOUT);
    } else {
      deadlines_.erase(*job.deadline);
      watch(job);
    }
  }
}

void Network::Implementation::begin(Job& job) {
  if (CURL* const handle = job.load->begin(resources_)) {
    watch(job);
    loop_.add(handle);
  } else {
    deliver(job);
  }
}

void Network::Implementation::watch(Job& job) {
  const TransferLoop::Time next = std::chrono::steady_clock::now() + longestWait;
  job.deadline = deadlines_.emplace(std::min(job.load->deadline(), next), job.load.get());
}

void Network::Implementation::unwatch(Job& job) {
  loop_.remove(job.load->handle());
  deadlines_.erase(*job.deadline);
  job.deadline.reset();
}

void Network::Implementation::end(Job& job, CURLcode result) {
  unwatch(job);
  if (job.load->end(result)) {
    begin(job);
  } else {
    deliver(job);
  }
}

/// The job ends here.
void Network::Implementation::deliver(const Job& job) {
  std::shared_ptr<Load> load = job.load;
  jobs_.erase(load.get());
  load->endSilence();
  std::shared_ptr<HandlerPool::Queue> queue = load->queue();
  delivered_.push_back({std::move(queue), [this, load = std::move(load)] { conclude(load); }});
}

/// A handler thread.
void Network::Implementation::conclude(const std::shared_ptr<Load>& load) {
  load->deliver();
  RequestOwner& owner = load->owner();
  owner.endOutsideWork();
  const std::lock_guard lock(mutex_);  // after the next lines, the owner may be gone
  const auto loads = loads_.find(&owner);
  std::erase(loads->second, load);
  if (!loads->second.empty()) return;
  loads_.erase(loads);
  ended_.notify_all();
}

/// Returns when the handlers need this thread again.
TransferLoop::Time Network::Implementation::passToHandlers() {
  if (!delivered_.empty()) {
    handlers_->async(delivered_);
    handlersWait_ = true;
  }
  if (!handlersWait_) return TransferLoop::Time::max();
  handlers_->help();
  const auto next = handlers_->helpTime();
  handlersWait_ = next.has_value();
  return next.value_or(TransferLoop::Time::max());
}

Network::Network() : Network(Options()) {}
Network::Network(Options options) : implementation_(std::make_unique<Implementation>(options)) {}
Network::~Network() = default;
void Network::start(const std::shared_ptr<Load>& load) { implementation_->start(load); }
void Network::announce(Silence silence) { implementation_->announce(std::move(silence)); }
void Network::endRequests(const RequestOwner& owner) { implementation_->endRequests(owner); }
void Network::forget(const RequestOwner& owner) { implementation_->forget(owner); }

}  // namespace services
