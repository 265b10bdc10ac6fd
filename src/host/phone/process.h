#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/phone/main_queue.h"
#include "host/phone/observed_event.h"
#include "host/phone/url_schemes.h"
#include "platform/log.h"
#include "platform/url_session.h"
#include "services/item_store.h"
#include "services/url_loading/request_outcome.h"
#include "services/url_loading/request_owner.h"

namespace host {

class CoreLibrary;  // host/phone/core_library.h

using platform::LogLevel;

/// Receives how each request of a process ended, on a handler thread before its handler runs, if it runs at all.
using OutcomeSink = std::function<void(const platform::URLRequest&, const services::RequestOutcome&)>;

/// One launch of an application on a simulated phone. All process-wide data lives in its slots. At its end, the slots
/// end in reverse order of their making. A process is current on a thread inside a ProcessScope.
class Process final : public services::RequestOwner {
 public:
  struct Environment {
    Clock& clock;
    services::Network& network;
    std::shared_ptr<const services::NetworkPolicy> networkPolicy = {};  ///< null: as by default
    std::filesystem::path appGroups = {};  ///< the directory of the stores shared with other processes
    URLSchemes urlSchemes = {};
    bool linkedBefore17 = false;  ///< linked with an older release of the platform: see platform::URL
    EventSink sink = {};          ///< may be empty
    std::shared_ptr<services::ItemStores> stores = {};  ///< makes the App Groups' stores; null: SQLite files
    OutcomeSink outcomes = {};                          ///< may be empty
  };

  explicit Process(Environment environment);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  /// Cancels the requests in flight (their handlers do not run), then ends the slots.
  ~Process();

  /// The process of this thread. Without one, this is a programming error that ends the program.
  static Process& current();
  static Process* currentOrNull();

  [[nodiscard]] MainQueue& mainQueue() { return *mainQueue_; }
  /// For code that may outlive the process: a queue whose process has ended drops all work that it is given.
  [[nodiscard]] std::shared_ptr<MainQueue> sharedMainQueue() { return mainQueue_; }
  [[nodiscard]] Clock& clock() { return environment_.clock; }
  [[nodiscard]] services::Network& network() override { return environment_.network; }
  [[nodiscard]] std::shared_ptr<const services::NetworkPolicy> networkPolicy() const override;
  [[nodiscard]] std::string userAgent() const override { return "PellionHost"; }
  /// Takes effect at once for requests that start and for the next redirect of those in flight, within a second for
  /// their time limit.
  void setNetworkPolicy(std::shared_ptr<const services::NetworkPolicy> policy);
  [[nodiscard]] const std::filesystem::path& appGroups() const { return environment_.appGroups; }
  [[nodiscard]] services::ItemStores& stores() { return *environment_.stores; }
  [[nodiscard]] const URLSchemes& urlSchemes() const { return environment_.urlSchemes; }
  [[nodiscard]] bool isLinkedBefore17() const { return environment_.linkedBefore17; }
  [[nodiscard]] CoreLibrary& coreLibrary() { return *coreLibrary_; }
  void setCoreLibrary(std::shared_ptr<CoreLibrary> coreLibrary) { coreLibrary_ = std::move(coreLibrary); }
  /// Makes the process's URL sessions; unset, they are the network's. For code that measures or serves requests itself.
  using SessionFactory = std::function<std::shared_ptr<platform::URLSession>()>;
  [[nodiscard]] const SessionFactory& sessionFactory() const { return sessionFactory_; }
  void setSessionFactory(SessionFactory factory) { sessionFactory_ = std::move(factory); }

  /// The level up to which a listener receives the log; none until it is set.
  [[nodiscard]] LogLevel logLevel() const noexcept { return logLevel_.load(std::memory_order_relaxed); }
  void setLogLevel(LogLevel level) noexcept { logLevel_ = level; }

  [[nodiscard]] bool hasListener() const override { return static_cast<bool>(environment_.sink); }
  void report(std::string_view actor, std::string_view what, platform::Value details);

  // The functions of the owner of its requests.
  void beginOutsideWork() override { mainQueue_->beginOutsideWork(); }
  void endOutsideWork() override { mainQueue_->endOutsideWork(); }
  void after(std::chrono::nanoseconds delay, std::function<void()> work) override;
  void run(const std::function<void()>& handler) override;
  void report(std::string_view what, platform::Value details) override;
  [[nodiscard]] bool wantsOutcomes() const override { return static_cast<bool>(environment_.outcomes); }
  void ended(const platform::URLRequest& request, const services::RequestOutcome& outcome) override;

  void* slot(const void* key, void* (*make)(), void (*destroy)(void*), bool outlivesObjects);

 private:
  struct Slot;
  Slot& findSlot(const void* key);
  static void endSlots(std::vector<Slot*>& made);

  Environment environment_;
  mutable std::mutex policyMutex_;
  std::shared_ptr<MainQueue> mainQueue_;
  std::shared_ptr<CoreLibrary> coreLibrary_;
  SessionFactory sessionFactory_;
  std::atomic<LogLevel> logLevel_{LogLevel::none};
  static constexpr std::size_t slotCount = 256;
  std::unique_ptr<std::atomic<Slot*>[]> slots_;  // open addressing by key; entries are never removed
  std::mutex makingMutex_;
  std::vector<Slot*> made_;
  std::vector<Slot*> madeToOutliveObjects_;
};

/// Makes a process current on this thread. At its end, drains this thread's autoreleased objects.
class ProcessScope {
 public:
  explicit ProcessScope(Process& process);
  ProcessScope(const ProcessScope&) = delete;
  ProcessScope& operator=(const ProcessScope&) = delete;
  ~ProcessScope();

 private:
  Process* previous_;
  void* pool_;
};

}  // namespace host
