#include "pellion/fleet/fleet_thread.h"

#include <future>
#include <utility>

namespace pellion {

FleetThread::FleetThread(Options options)
    : options_(options),
      surroundings_{.network = network_,
                    .outcomes = [this](const platform::URLRequest& request,
                                       const services::RequestOutcome& outcome) { record(request, outcome); },
                    .wake = [this](FleetPhone& phone) { wake(phone); },
                    .raised = [this](const std::string& text) { ++ownFigures_.raised[text]; },
                    .figures = ownFigures_},
      phones_(options_.plan.kinds.size()),
      thread_([this] { run(); }) {}

void FleetThread::askToEnd() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
}

void FleetThread::end() {
  askToEnd();
  if (thread_.joinable()) thread_.join();
}

void FleetThread::post(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(work));
  }
  changed_.notify_all();
}

void FleetThread::wake(FleetPhone& phone) {
  if (std::this_thread::get_id() == thread_.get_id()) return;  // plans its next turn when this one is over
  {
    const std::lock_guard lock(mutex_);
    woken_.push_back(&phone);
  }
  changed_.notify_all();
}

void FleetThread::start(std::size_t kind, std::uint64_t number) {
  post([this, kind, number] {
    if (isClosed_) return;
    auto phone = std::make_unique<FleetPhone>(options_.plan.kinds[kind], *options_.bundles[kind], number, options_.seed,
                                              surroundings_);
    alive_.insert(phone.get());
    const FleetTime now = std::chrono::steady_clock::now();
    phone->beginLife(now);
    turn(*phone);
    std::erase_if(waves_, [now](const Running& running) { return running.end <= now; });
    for (const auto& [wave, end] : waves_) join(*wave, kind, *phone, end - now);
    phones_[kind].push_back(std::move(phone));
  });
}

void FleetThread::stopOne(std::size_t kind) {
  post([this, kind] {
    if (phones_[kind].empty()) return;
    alive_.erase(phones_[kind].back().get());
    phones_[kind].pop_back();
  });
}

void FleetThread::startWave(const FleetWave& wave) {
  post([this, &wave] {
    for (std::size_t kind = 0; kind < phones_.size(); ++kind) {
      for (const auto& phone : phones_[kind]) join(wave, kind, *phone, wave.over);
    }
    waves_.push_back({&wave, std::chrono::steady_clock::now() + wave.over});
  });
}

/// Lets the phone begin the wave's steps at a random time within `span`, if the wave reaches it.
void FleetThread::join(const FleetWave& wave, std::size_t kind, FleetPhone& phone, std::chrono::nanoseconds span) {
  if (wave.steps[kind].empty() || share(phone.random()) >= wave.reach) return;
  phone.begin(wave.steps[kind], std::chrono::steady_clock::now() +
                                    std::chrono::duration_cast<std::chrono::nanoseconds>(span * share(phone.random())));
  plan(phone);
}

void FleetThread::endSteps() {
  isClosed_ = true;  // also for starts that still wait their turn
  post([this] {
    for (const auto& kind : phones_) {
      for (const auto& phone : kind) phone->endSteps();
    }
  });
}

FleetFigures FleetThread::takeFigures() {
  const std::lock_guard lock(figuresMutex_);
  return std::exchange(figures_, {});
}

std::size_t FleetThread::inFlight() {
  std::promise<std::size_t> counted;
  std::future<std::size_t> count = counted.get_future();
  post([this, &counted] {
    std::size_t sending = 0;
    for (FleetPhone* const phone : alive_) sending += phone->isSending() ? 1 : 0;
    counted.set_value(sending);
  });
  return count.get();
}

void FleetThread::record(const platform::URLRequest& request, const services::RequestOutcome& outcome) {
  const Ending ending = endingOf(outcome);
  const platform::ByteView bytes = request.httpBody ? request.httpBody->bytes() : platform::ByteView();
  const std::vector<Cargo> cargo =
      cargoOf(request.headers.find("notificationid"), {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  if (options_.audit != nullptr) options_.audit->ended(queryOf(request), cargo, ending);
  const std::lock_guard lock(figuresMutex_);
  figures_.endpoints[endpointOf(request)].record(outcome);
  for (const auto& [kind, text] : cargo) ++figures_.carried[kind][ending];
}

void FleetThread::run() {
  std::unique_lock lock(mutex_);
  while (!isEnding_) {
    const auto isCalled = [this] { return isEnding_ || !posted_.empty() || !woken_.empty(); };
    if (turns_.empty()) {
      changed_.wait(lock, isCalled);
    } else {
      changed_.wait_until(lock, turns_.top().at, isCalled);
    }
    const std::vector<std::function<void()>> posted = std::exchange(posted_, {});
    const std::vector<FleetPhone*> woken = std::exchange(woken_, {});
    lock.unlock();
    for (const auto& work : posted) work();
    for (FleetPhone* const phone : woken) {
      if (alive_.contains(phone)) turn(*phone);
    }
    turnPhonesThatAreDue();
    {
      const std::lock_guard figuresLock(figuresMutex_);
      figures_.add(std::exchange(ownFigures_, {}));
    }
    lock.lock();
  }
  lock.unlock();
  for (auto& kind : phones_) kind.clear();  // on their own thread
}

/// Short, so that calls from outside are not kept waiting.
void FleetThread::turnPhonesThatAreDue() {
  constexpr int most = 64;
  for (int turned = 0; turned < most && !turns_.empty() && turns_.top().at <= std::chrono::steady_clock::now();) {
    const Turn next = turns_.top();
    turns_.pop();
    if (!alive_.contains(next.phone) || next.phone->planned != next.at) continue;  // out of date
    turn(*next.phone);
    ++turned;
  }
}

void FleetThread::turn(FleetPhone& phone) {
  phone.planned.reset();
  phone.turn(std::chrono::steady_clock::now());
  plan(phone);
}

void FleetThread::plan(FleetPhone& phone) {
  const auto next = phone.next();
  if (!next || (phone.planned && *phone.planned <= *next)) return;
  phone.planned = next;
  turns_.push({*next, &phone});
}

}  // namespace pellion
