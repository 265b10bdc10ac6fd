#include "pellion/fleet/fleet.h"

#include <algorithm>
#include <numeric>
#include <thread>

namespace pellion {
namespace {

constexpr auto never = std::chrono::nanoseconds::max();

/// The secret with which the built-in backend verifies what phones sign.
std::optional<std::string> secretOf(const FleetPlan& plan) {
  const platform::Value* secret = plan.kinds.front().life.configuration.value.find("JWT_SECRET");
  return secret == nullptr ? std::nullopt : std::optional(std::string(secret->text()));
}

}  // namespace

Fleet::Fleet(const FleetPlan& plan, Options options)
    : plan_(plan), options_(std::move(options)), counts_(plan.kinds.size()), threadOf_(plan.kinds.size()) {
  if (options_.server) {
    serverURL_ = *options_.server;
  } else {
    backend_ = std::make_unique<Backend>(Backend::Options{
        .secret = secretOf(plan), .keepsRequests = false, .refuses = [this](const ReceivedRequest& request) {
          return std::optional(answerNow(request));
        }});
    serverURL_ = backend_->url();
  }
  // The fleet loads the server that its user named. What is audited ends where it was sent.
  using Redirects = services::NetworkPolicy::Redirects;
  const Redirects redirects = options_.isAudited ? Redirects::delivered : Redirects::onlyToTheSameHost;
  for (const FleetKind& kind : plan_.kinds) {
    bundles_.push_back(std::make_unique<FleetBundle>(kind, serverURL_, options_.sources, redirects));
  }
  for (std::size_t i = 0; i < std::max<std::size_t>(options_.threads, 1); ++i) {
    threads_.push_back(std::make_unique<FleetThread>(FleetThread::Options{
        .plan = plan_, .bundles = bundles_, .seed = options_.seed, .audit = options_.isAudited ? &audit_ : nullptr}));
  }
  for (const FleetWave& wave : plan_.waves) nextWave_.push_back(wave.at);
}

Fleet::~Fleet() { end(); }

/// On a thread of the backend. The audit notes what the phone is answered, before it can notice.
Answer Fleet::answerNow(const ReceivedRequest& request) {
  Answer answer;
  {
    const std::lock_guard lock(faultMutex_);
    if (fault_ != nullptr) answer = fault_->answer;
  }
  if (options_.isAudited) audit_.received(request, answer);
  return answer;
}

std::size_t Fleet::phones() const { return std::accumulate(counts_.begin(), counts_.end(), std::size_t{}); }

std::size_t Fleet::kindOf(std::uint64_t number) const {
  FleetRandom random((options_.seed + 1) * 0x9E3779B97F4A7C15U + number * 0xBF58476D1CE4E5B9U);
  random.discard(2);
  double left = share(random) * std::accumulate(plan_.kinds.begin(), plan_.kinds.end(), 0.0,
                                                [](double sum, const FleetKind& kind) { return sum + kind.weight; });
  for (std::size_t kind = 0; kind + 1 < plan_.kinds.size(); ++kind) {
    left -= plan_.kinds[kind].weight;
    if (left < 0) return kind;
  }
  return plan_.kinds.size() - 1;
}

void Fleet::startNext() { start(kindOf(options_.firstNumber + startedPhones_)); }

void Fleet::start(std::size_t kind) {
  const std::size_t thread = startedPhones_ % threads_.size();
  threads_[thread]->start(kind, options_.firstNumber + startedPhones_);
  threadOf_[kind].push_back(thread);
  ++startedPhones_;
  ++counts_[kind];
}

void Fleet::setCount(std::size_t kind, std::size_t count) {
  while (counts_[kind] < count) start(kind);
  for (; counts_[kind] > count; --counts_[kind]) {
    threads_[threadOf_[kind].back()]->stopOne(kind);
    threadOf_[kind].pop_back();
  }
}

void Fleet::tick() {
  const std::chrono::nanoseconds now = age();
  for (std::size_t i = 0; i < plan_.waves.size(); ++i) {
    const FleetWave& wave = plan_.waves[i];
    if (nextWave_[i] > now) continue;
    for (const auto& thread : threads_) thread->startWave(wave);
    nextWave_[i] = wave.every > std::chrono::nanoseconds::zero() ? nextWave_[i] + wave.every : never;
  }
  const auto isOn = [now](const FleetFault& fault) { return fault.at <= now && now < fault.at + fault.duration; };
  const auto fault = std::ranges::find_if(plan_.faults, isOn);
  const std::lock_guard lock(faultMutex_);
  fault_ = fault == plan_.faults.end() ? nullptr : &*fault;
}

FleetFigures Fleet::takeFigures() {
  FleetFigures figures = std::exchange(last_, {});
  for (const auto& thread : threads_) figures.add(thread->takeFigures());
  return figures;
}

void Fleet::settle(std::chrono::nanoseconds limit) {
  constexpr std::chrono::milliseconds pause{20};
  for (const auto& thread : threads_) thread->endSteps();
  const FleetTime end = std::chrono::steady_clock::now() + limit;
  // A thread that was asked has ended the steps before it counts.
  const auto areQuiet = [&] {
    return std::ranges::all_of(threads_, [](const auto& thread) { return thread->inFlight() == 0; });
  };
  while (!areQuiet() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(pause);
}

void Fleet::end() {
  for (const auto& thread : threads_) thread->askToEnd();
  for (const auto& thread : threads_) thread->end();
  for (const auto& thread : threads_) last_.add(thread->takeFigures());
  threads_.clear();
  backend_.reset();
}

std::optional<FleetAudit::Verdict> Fleet::verdict() {
  if (!options_.isAudited) return std::nullopt;
  return audit_.verdict();
}

}  // namespace pellion
