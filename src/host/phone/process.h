#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/phone/main_queue.h"
#include "host/phone/observed_event.h"
#include "platform/log.h"
#include "platform/url_session.h"
#include "services/http/request_owner.h"

namespace host {

class CoreLibrary;  // host/core_library.h

using platform::LogLevel;

/// Which schemes of URLs something on the phone opens, and about which the application declares that it asks. In lower
/// case.
struct URLSchemes {
  std::vector<std::string> own = {};        ///< the application's own: it opens them, and may ask about them
  std::vector<std::string> queried = {};    ///< others about which the application declares that it asks
  std::vector<std::string> installed = {};  ///< others that something opens, beside those of every phone
  bool operator==(const URLSchemes&) const = default;
};

/// One launch of an application on a simulated phone. Everything process-wide lives in its slots; ending it ends them
/// in reverse order of their making. It is current on a thread inside a ProcessScope.
class Process final : public RequestOwner {
 public:
  struct Environment {
    Clock& clock;
    Network& network;
    NetworkPolicy networkPolicy = {};
    std::filesystem::path appGroups = {};  ///< where the stores shared with other processes are
    URLSchemes urlSchemes = {};
    bool linkedBefore17 = false;  ///< with an older release of the platform: see platform::URL
    EventSink sink = {};          ///< may be empty
  };

  explicit Process(Environment environment);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  /// Cancels the requests in flight (their handlers do not run), then ends the slots.
  ~Process();

  /// The process of this thread; having none is a programming error that ends the program.
  static Process& current();
  static Process* currentOrNull();

  [[nodiscard]] MainQueue& mainQueue() { return *mainQueue_; }
  /// For what may outlive the process: a queue whose process has ended drops what it is given.
  [[nodiscard]] std::shared_ptr<MainQueue> sharedMainQueue() { return mainQueue_; }
  [[nodiscard]] Clock& clock() { return environment_.clock; }
  [[nodiscard]] Network& network() override { return environment_.network; }
  [[nodiscard]] NetworkPolicy networkPolicy() const override;
  /// Applies at once: to requests that start, and to the next redirect and the time limit of those in flight.
  void setNetworkPolicy(NetworkPolicy policy);
  [[nodiscard]] const std::filesystem::path& appGroups() const { return environment_.appGroups; }
  [[nodiscard]] const URLSchemes& urlSchemes() const { return environment_.urlSchemes; }
  [[nodiscard]] bool isLinkedBefore17() const { return environment_.linkedBefore17; }
  [[nodiscard]] CoreLibrary& coreLibrary() { return *coreLibrary_; }
  void setCoreLibrary(std::shared_ptr<CoreLibrary> coreLibrary) { coreLibrary_ = std::move(coreLibrary); }
  /// Makes the process's URL sessions; unset, they are the network's. For whoever measures or answers requests itself.
  using SessionFactory = std::function<std::shared_ptr<platform::URLSession>()>;
  [[nodiscard]] const SessionFactory& sessionFactory() const { return sessionFactory_; }
  void setSessionFactory(SessionFactory factory) { sessionFactory_ = std::move(factory); }

  /// How much of the log somebody listens to; none until it is set.
  [[nodiscard]] LogLevel logLevel() const noexcept { return logLevel_.load(std::memory_order_relaxed); }
  void setLogLevel(LogLevel level) noexcept { logLevel_ = level; }

  [[nodiscard]] bool hasListener() const override { return static_cast<bool>(environment_.sink); }
  void tell(std::string_view actor, std::string_view what, platform::Value details);

  // As the owner of its requests.
  void beginOutsideWork() override { mainQueue_->beginOutsideWork(); }
  void endOutsideWork() override { mainQueue_->endOutsideWork(); }
  void after(std::chrono::nanoseconds delay, std::function<void()> work) override;
  void run(const std::function<void()>& handler) override;
  void tell(std::string_view what, platform::Value details) override;

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

/// Makes a process current on this thread and drains this thread's autoreleased objects at its end.
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
