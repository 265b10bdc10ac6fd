// The baseline of a callback through the module: the same callback in plain C++. Most of its time goes into reference
// counts and locks that threads share, which a virtual call does not have, and whose cost in virtual calls differs from
// machine to machine. Both sides keep the previous implementations under a lock and read the list of observers as it is
// now; both hold an observer only while they call it, and ask first whether it takes the message.

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

class Receiver {
 public:
  virtual ~Receiver() = default;
  [[nodiscard]] virtual bool takes(const std::string& message) const = 0;
  virtual void receive(const void* application, const void* token) = 0;
};

class Counter : public Receiver {
 public:
  [[nodiscard]] bool takes(const std::string& message) const override { return !message.empty(); }
  void receive(const void* application, const void* token) override { calls += application != token ? 1 : 0; }

  std::int64_t calls = 0;
};

class Callback {
 public:
  using Observers = std::vector<std::pair<std::string, std::weak_ptr<Receiver>>>;

  Callback(std::string message, std::shared_ptr<Receiver> own, Observers observers)
      : own_{{std::move(message), std::move(own)}}, observers_(std::make_shared<Observers>(std::move(observers))) {}

  void operator()(const std::string& message, const void* application, const void* token) const {
    const std::shared_ptr<Receiver> own = ownReceiver(message);
    broadcast(message, [&](Receiver& each) { each.receive(application, token); });
    if (own) own->receive(application, token);
  }

 private:
  [[nodiscard]] std::shared_ptr<Receiver> ownReceiver(const std::string& message) const {
    const std::lock_guard lock(mutex_);
    const auto found = own_.find(message);
    return found != own_.end() ? found->second : nullptr;
  }
  void broadcast(const std::string& message, const std::function<void(Receiver&)>& call) const {
    const auto observers = observers_;
    for (const auto& [name, observer] : *observers) {
      const std::shared_ptr<Receiver> kept = observer.lock();
      if (kept && kept->takes(message)) call(*kept);
    }
  }

  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Receiver>> own_;
  std::shared_ptr<const Observers> observers_;
};

void callObserverAndOwn(benchmark::State& state) {
  const std::string message = "didRegister";
  const auto own = std::make_shared<Counter>();
  const auto observer = std::make_shared<Counter>();
  const Callback callback(message, own, {{"observer", observer}});
  for (auto _ : state) callback(message, &callback, &state);
  if (own->calls != state.iterations() || observer->calls != state.iterations()) {
    state.SkipWithError("the observer or the own receiver was not called each time");
  }
}

BENCHMARK(callObserverAndOwn)->Name("token_callback/plain_cpp");

}  // namespace
