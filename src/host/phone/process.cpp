#include "host/phone/process.h"

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "host/objc/objc_runtime.h"
#include "platform/objc.h"
#include "platform/process.h"
#include "platform/reference.h"
#include "services/sqlite_store.h"
#include "services/url_loading/network.h"
#include "services/url_release.h"

namespace host {
namespace {

thread_local Process* currentProcess = nullptr;

/// Returns the place, of 256, where the search for a key's slot begins.
std::size_t firstPlace(const void* key) { return (reinterpret_cast<std::uintptr_t>(key) * 0x9E3779B97F4A7C15U) >> 56U; }

[[noreturn]] void endProgram(const char* error) {
  std::fputs(error, stderr);
  std::abort();
}

}  // namespace

struct Process::Slot {
  const void* key;
  std::optional<std::once_flag> once{std::in_place};
  std::atomic<void*> object{nullptr};
  void (*destroy)(void*) = nullptr;
};

Process::Process(Environment environment)
    : environment_(std::move(environment)),
      mainQueue_(std::make_shared<MainQueue>(environment_.clock)),
      slots_(std::make_unique<std::atomic<Slot*>[]>(slotCount)) {
  if (!environment_.networkPolicy) environment_.networkPolicy = std::make_shared<const services::NetworkPolicy>();
  if (!environment_.stores) environment_.stores = std::make_shared<services::SQLiteStores>();
  // The classes come first, so that they are destroyed last: every later slot may hold objects.
  const ProcessScope scope(*this);
  Runtime::current();
}

Process::~Process() {
  const ProcessScope scope(*this);
  environment_.network.endRequests(*this);
  {
    const platform::AutoreleasePool pool;
    mainQueue_->close();
  }
  endSlots(made_);
  endSlots(madeToOutliveObjects_);
  environment_.network.forget(*this);
  for (std::size_t i = 0; i < slotCount; ++i) delete slots_[i].load();
}

// No other thread is in this process now. A destructor may ask for slots, also for ended ones, and so make new ones.
void Process::endSlots(std::vector<Slot*>& made) {
  while (!made.empty()) {
    const platform::AutoreleasePool pool;  // drained while the classes, which were made first, still exist
    Slot& slot = *made.back();
    made.pop_back();
    slot.once.emplace();
    slot.destroy(slot.object.exchange(nullptr));
  }
}

std::shared_ptr<const services::NetworkPolicy> Process::networkPolicy() const {
  const std::lock_guard lock(policyMutex_);
  return environment_.networkPolicy;
}

void Process::setNetworkPolicy(std::shared_ptr<const services::NetworkPolicy> policy) {
  const std::lock_guard lock(policyMutex_);
  environment_.networkPolicy.swap(policy);
}

Process& Process::current() {
  if (currentProcess == nullptr) endProgram("no process is current on this thread\n");
  return *currentProcess;
}

Process* Process::currentOrNull() { return currentProcess; }

void Process::report(std::string_view actor, std::string_view what, platform::Value details) {
  if (environment_.sink) environment_.sink({clock().now(), actor, what, std::move(details)});
}

void Process::after(std::chrono::nanoseconds delay, std::function<void()> work) {
  mainQueue_->after(delay, std::move(work));
}

void Process::run(const std::function<void()>& handler) {
  const ProcessScope scope(*this);
  handler();
}

void Process::report(std::string_view what, platform::Value details) { report("network", what, std::move(details)); }

void Process::ended(const platform::URLRequest& request, const services::RequestOutcome& outcome) {
  if (environment_.outcomes) environment_.outcomes(request, outcome);
}

Process::Slot& Process::findSlot(const void* key) {
  for (std::size_t probe = 0; probe < slotCount; ++probe) {
    std::atomic<Slot*>& place = slots_[(firstPlace(key) + probe) % slotCount];
    Slot* slot = place.load(std::memory_order_acquire);
    if (slot == nullptr) {
      auto made = std::make_unique<Slot>();
      made->key = key;
      if (place.compare_exchange_strong(slot, made.get(), std::memory_order_acq_rel)) slot = made.release();
    }
    if (slot->key == key) return *slot;
  }
  endProgram("a process has room for 256 process-wide objects\n");
}

// Lock-free and short for an existing slot, because every call looks up its shared instance.
void* Process::slot(const void* key, void* (*make)(), void (*destroy)(void*), bool outlivesObjects) {
  const Slot* first = slots_[firstPlace(key)].load(std::memory_order_acquire);
  if (first != nullptr && first->key == key) [[likely]] {
    if (void* object = first->object.load(std::memory_order_acquire)) return object;
  }
  Slot& slot = findSlot(key);
  if (void* object = slot.object.load(std::memory_order_acquire)) return object;
  std::call_once(*slot.once, [&] {
    slot.destroy = destroy;
    void* object = make();
    const std::lock_guard lock(makingMutex_);
    (outlivesObjects ? madeToOutliveObjects_ : made_).push_back(&slot);
    slot.object.store(object, std::memory_order_release);
  });
  return slot.object.load(std::memory_order_acquire);
}

void reportObstacle(const std::string& effect, const std::string& reason, const std::string& remedy) {
  Process::current().report("platform", "blocked", obstacle(effect, reason, remedy));
}

ProcessScope::ProcessScope(Process& process)
    : previous_(std::exchange(currentProcess, &process)), pool_(objc_autoreleasePoolPush()) {}

ProcessScope::~ProcessScope() {
  objc_autoreleasePoolPop(pool_);
  currentProcess = previous_;
}

}  // namespace host

namespace platform::Process {

void* slot(const void* key, void* (*make)(), void (*destroy)(void*), bool outlivesObjects) {
  return host::Process::current().slot(key, make, destroy, outlivesObjects);
}

}  // namespace platform::Process

bool services::isLinkedBefore17() {
  const host::Process* process = host::Process::currentOrNull();
  return process != nullptr && process->isLinkedBefore17();
}

void services::noteTextWithoutURL(std::string_view text) {
  host::Process* process = host::Process::currentOrNull();
  if (process == nullptr || !process->hasListener()) return;
  const std::string effect = "makes no URL of " + std::string(text);
  process->report("platform", "blocked",
                  process->isLinkedBefore17()
                      ? host::obstacle(effect,
                                       "RFC 3986 does not allow the text, and for an application linked before release "
                                       "17 the platform encodes nothing",
                                       "percent-encode it")
                      : host::obstacle(effect, "RFC 3986 does not allow the text, even percent-encoded", "correct it"));
}
