#include "pellion/fleet/locust_worker.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <thread>

#include "pellion/text/input_error.h"
#include "pellion/text/similar_name.h"

namespace pellion {
namespace {

using std::chrono::nanoseconds;

constexpr const char* stateNames[] = {"ready", "spawning", "running", "cleanup"};

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

nanoseconds usedCPU() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto durationOf = [](const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
  };
  return durationOf(usage.ru_utime) + durationOf(usage.ru_stime);
}

std::uint64_t residentMemory() {
  std::uint64_t size = 0;
  std::uint64_t resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

std::vector<std::string> classesOf(const FleetPlan& plan) {
  std::vector<std::string> classes;
  for (const FleetKind& kind : plan.kinds) {
    std::string name = locustClassName(kind.name);
    const std::string place = plan.file + ": the kind \"" + kind.name + "\"";
    if (name.empty()) {
      throw InputError(place + " has no name for a class of Locust; begin it with a letter from A to Z");
    }
    if (const auto same = std::ranges::find(classes, name); same != classes.end()) {
      throw InputError(place + " and \"" + plan.kinds[static_cast<std::size_t>(same - classes.begin())].name +
                       "\" would both be the class " + name + " of Locust; give them other names");
    }
    classes.push_back(std::move(name));
  }
  return classes;
}

template <class Result>
bool isReady(const std::future<Result>& future) {
  return future.valid() && future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

std::string seconds(nanoseconds duration) {
  return std::to_string(std::chrono::round<std::chrono::seconds>(duration).count()) + " s";
}

}  // namespace

LocustWorker::LocustWorker(const FleetPlan& plan, Options options)
    : plan_(plan),
      options_(std::move(options)),
      classes_(classesOf(plan)),
      socket_(std::make_unique<LocustSocket>(options_.endpoint, options_.id)),
      startedAtWallTime_(secondsSince1970()),
      settling_(options_.times.settling),
      usedCPU_(usedCPU()),
      usedAt_(startedAt_) {}

LocustWorker::~LocustWorker() = default;

void LocustWorker::send(const std::string& message) {
  if (socket_) socket_->send(message);
}

/// A master passes over a connection of a worker while it has another one, so the old one needs time to end. What
/// waits in it is not for the next master.
void LocustWorker::disconnect(FleetTime now) {
  socket_.reset();
  isConnected_ = false;
  askedAt_.reset();
  connectAt_ = now + options_.times.pause;
}

void LocustWorker::turn(FleetTime now, std::chrono::milliseconds wait) {
  if (hasEnded_) return;
  if (!isKnown_ && !lonelySince_) lonelySince_ = now;
  if (!socket_ && now >= connectAt_) socket_ = std::make_unique<LocustSocket>(options_.endpoint, options_.id);
  if (socket_) {
    socket_->waitFor(wait);
  } else {
    std::this_thread::sleep_for(wait);
  }
  receive(now);
  if (hasEnded_) return;
  finishStart(now);
  finishEnd(now);
  if (hasEnded_) return;
  doFleetsWork(now);
  doMastersWork(now);
}

void LocustWorker::receive(FleetTime now) {
  while (socket_) {
    const auto change = socket_->takeChange();
    if (!change) break;
    if (*change == LocustSocket::Change::connected) {
      handleConnected(now);
    } else if (isConnected_) {
      handleLost("the master is gone", now);
    }
  }
  while (socket_ && !hasEnded_) {
    const auto message = socket_->receive();
    if (!message) break;
    handle(*message, now);
  }
}

void LocustWorker::handleConnected(FleetTime now) {
  isConnected_ = true;
  if (std::exchange(wasKnown_, false)) send(locustMessage("client_stopped", options_.id));
  askToBeKnown(now);
}

void LocustWorker::handleLost(std::string text, FleetTime now) {
  disconnect(now);
  wasKnown_ = wasKnown_ || isKnown_;
  isKnown_ = false;
  isIntroduced_ = false;
  wanted_.reset();
  lonelySince_ = now;
  text += "; it has received " + std::to_string(std::exchange(reported_, 0)) + " requests";
  if (!then_ && (fleet_ || starting_.valid())) {
    orphanedAt_ = now;
    state_ = State::ready;
    text += "; the phones go on for " + seconds(options_.times.orphan);
  }
  isRefused_ = false;
  options_.say(text);
}

void LocustWorker::askToBeKnown(FleetTime now) {
  isKnown_ = false;
  if (!lonelySince_) lonelySince_ = now;
  askedAt_ = now;
  send(locustReady(options_.id));
}

void LocustWorker::handle(const std::string& message, FleetTime now) {
  const std::optional<LocustOrder> order = readLocustOrder(message);
  if (!order) {
    options_.say("the master has sent a message of " + std::to_string(message.size()) +
                 " bytes that is not one of Locust's; it is passed over");
  } else if (order->type == "ack") {
    acknowledge(*order);
  } else if (order->type == "spawn") {
    spawn(*order->spawn, now);
  } else if (order->type == "stop") {
    stop(now);
  } else if (order->type == "reconnect") {
    handleLost("the master wants a new connection", now);
  } else if (order->type == "quit") {
    options_.say("the master ends");
    endFleet(Then::quit, options_.times.quitting, now);
  } else if (order->type != "heartbeat" && strangeOrders_.insert(order->type).second) {
    options_.say("the master has sent \"" + order->type + "\", which is not for phones; it is passed over");
  }
}

void LocustWorker::acknowledge(const LocustOrder& order) {
  const bool isNew = !std::exchange(isIntroduced_, true);
  isKnown_ = true;
  lonelySince_.reset();
  askedAt_.reset();
  lastTimestamp_ = 0;
  index_ = order.index.value_or(index_);
  if (isNew) options_.say("worker " + std::to_string(index_) + " of the master at " + options_.endpoint);
}

void LocustWorker::spawn(LocustSpawn spawn, FleetTime now) {
  if (spawn.timestamp <= lastTimestamp_) return;
  lastTimestamp_ = spawn.timestamp;
  send(locustMessage("spawning", options_.id));
  const bool isTakenOver = orphanedAt_ && fleetIndex_ == index_;
  // Another number would give the phones identities that belong to another worker.
  if (orphanedAt_ && !isTakenOver) endFleet(Then::wait, options_.times.quitting, now);
  orphanedAt_.reset();
  if (const std::string text = unknownClasses(spawn.counts); !text.empty()) return refuse(text);
  wanted_ = std::move(spawn);
  if (isRefused_) return refuse(complaint_);
  if (then_) return;  // once the last run has ended
  state_ = State::spawning;
  if (fleet_) {
    setCounts();
  } else if (!starting_.valid()) {
    startFleet(now);
  }
}

std::string LocustWorker::unknownClasses(const LocustCounts& counts) const {
  for (const auto& [name, count] : counts) {
    if (std::ranges::find(classes_, name) != classes_.end()) continue;
    return plan_.file + ": has no kind of phones for the class \"" + name + "\" of the master; " +
           remedyForName(name, {classes_.begin(), classes_.end()}, "its kinds are the classes") +
           "; start the master with this plan";
  }
  return {};
}

void LocustWorker::startFleet(FleetTime now) {
  fleetIndex_ = index_;
  statistics_.emplace(wallTime(now));
  second_ = std::floor(wallTime(now));
  reportedAt_ = now;
  starting_ = std::async(std::launch::async, options_.makeFleet, wanted_->host, index_ * numbersOfWorker);
}

void LocustWorker::finishStart(FleetTime now) {
  if (!isReady(starting_)) return;
  try {
    fleet_ = starting_.get();
  } catch (const InputError& error) {
    refuse(error.what());
  }
  if (then_) {
    endFleet(*std::exchange(then_, std::nullopt), settling_, now);
  } else if (fleet_ && wanted_) {
    setCounts();
  }
}

/// Where this machine cannot keep more phones busy, there are as many as before.
void LocustWorker::setCounts() {
  std::vector<std::size_t> wanted = fleet_->counts();
  for (const auto& [name, count] : wanted_->counts) {
    wanted[static_cast<std::size_t>(std::ranges::find(classes_, name) - classes_.begin())] = count;
  }
  settling_ = std::max(options_.times.settling, wanted_->stopTimeout);
  wanted_.reset();
  try {
    std::size_t sum = 0;
    for (const std::size_t count : wanted) sum += count;
    if (sum > fleet_->phones()) options_.checkPhones(sum);
    for (std::size_t kind = 0; kind < wanted.size(); ++kind) fleet_->setCount(kind, wanted[kind]);
  } catch (const InputError& error) {
    complain(error.what());
  }
  send(locustSpawningComplete(options_.id, counts()));
  state_ = State::running;
}

/// A ramp has many steps, each of which would have the same mistake.
void LocustWorker::complain(const std::string& text) {
  if (std::exchange(complaint_, text) == text) return;
  send(locustException(options_.id, text));
  options_.say(text);
}

void LocustWorker::refuse(const std::string& text) {
  complain(text);
  isRefused_ = true;
  wanted_.reset();
  if (!isKnown_ || then_) return;
  send(locustSpawningComplete(options_.id, counts()));
  state_ = State::running;
}

void LocustWorker::stop(FleetTime now) {
  wanted_.reset();
  isRefused_ = false;
  complaint_.clear();
  if (fleet_ || starting_.valid()) {
    endFleet(Then::stop, settling_, now);
  } else {
    registerAgain(now);
  }
}

void LocustWorker::registerAgain(FleetTime now) {
  state_ = State::ready;
  send(locustMessage("client_stopped", options_.id));
  askToBeKnown(now);
}

void LocustWorker::endFleet(Then then, nanoseconds settling, FleetTime now) {
  if (then_) {
    then_ = std::max(*then_, then);
    return;
  }
  if (!fleet_ && !starting_.valid()) {
    if (then == Then::quit) leave();
    if (then == Then::stop) registerAgain(now);
    return;
  }
  then_ = then;
  settling_ = settling;
  orphanedAt_.reset();
  state_ = State::cleanup;
  if (!fleet_) return;  // finishStart() calls again
  collect(now);
  // A master that ends waits for the last report, but not for the end of thousands of phones.
  ending_ = std::async(std::launch::async, [&fleet = *fleet_, settling, then] {
    fleet.settle(settling);
    if (then != Then::quit) fleet.end();
  });
}

void LocustWorker::finishEnd(FleetTime now) {
  if (!isReady(ending_)) return;
  ending_.get();
  collect(now);
  const std::unique_ptr<Fleet> fleet = std::move(fleet_);
  if (isKnown_ && *then_ != Then::wait) report(now);
  if (statistics_->requests() > 0) {
    options_.say(std::to_string(statistics_->requests()) + " requests are known to no master");
  }
  statistics_.reset();
  switch (*std::exchange(then_, std::nullopt)) {
    case Then::quit: leave(); break;
    case Then::stop:
      if (isKnown_) registerAgain(now);
      break;
    case Then::wait: break;
  }
  fleet->end();
  figures_.add(fleet->takeFigures());
  if (hasEnded_) return;
  state_ = State::ready;
  if (wanted_) {
    state_ = State::spawning;
    startFleet(now);
  }
}

void LocustWorker::leave() {
  hasEnded_ = true;
  if (!isConnected_) return;
  send(locustMessage("quit", options_.id));
  socket_->linger(std::chrono::seconds(1));
}

void LocustWorker::collect(FleetTime now) {
  const FleetFigures figures = fleet_->takeFigures();
  constexpr double endOfSecond = 0.999;
  statistics_->add(figures, std::min(wallTime(now), second_ + endOfSecond));
  second_ = std::floor(wallTime(now));
  figures_.add(figures);
}

void LocustWorker::report(FleetTime now) {
  reportedAt_ = now;
  if (fleet_) collect(now);
  reported_ += statistics_->requests();
  send(statistics_->message(options_.id, counts()));
  statistics_.emplace(wallTime(now));
}

void LocustWorker::doFleetsWork(FleetTime now) {
  if (wantsToQuit_ && then_ != Then::quit) endFleet(Then::quit, std::max(settling_, options_.times.settling), now);
  if (orphanedAt_ && now - *orphanedAt_ >= options_.times.orphan) {
    options_.say("no master has asked for the phones; they end");
    endFleet(Then::wait, options_.times.settling, now);
  }
  if (!fleet_ || then_) return;
  fleet_->tick();
  if (std::floor(wallTime(now)) > second_) collect(now);
  const bool isRunning = state_ == State::running || state_ == State::spawning;
  if (isKnown_ && isRunning && now - reportedAt_ >= options_.times.report) report(now);
}

void LocustWorker::doMastersWork(FleetTime now) {
  if (hasEnded_) return;
  if (lonelySince_ && now - *lonelySince_ >= options_.times.patience) {
    isAbandoned_ = true;
    quit();
  }
  if (!isConnected_) return;
  if (askedAt_ && now - *askedAt_ >= options_.times.answer) return disconnect(now);
  if (heartbeatAt_ && now - *heartbeatAt_ < options_.times.heartbeat) return;
  heartbeatAt_ = now;
  send(locustHeartbeat(options_.id, stateNames[static_cast<std::size_t>(state_)], health(now)));
}

LocustCounts LocustWorker::counts() const {
  LocustCounts counts;
  for (std::size_t kind = 0; kind < classes_.size(); ++kind) {
    counts.emplace_back(classes_[kind], fleet_ ? fleet_->counts()[kind] : 0);
  }
  return counts;
}

double LocustWorker::wallTime(FleetTime now) const {
  return startedAtWallTime_ + std::chrono::duration<double>(now - startedAt_).count();
}

LocustHealth LocustWorker::health(FleetTime now) {
  const nanoseconds used = usedCPU();
  const double cores = std::max(1U, std::thread::hardware_concurrency());
  const double span = std::chrono::duration<double>(now - std::exchange(usedAt_, now)).count();
  const double busy = std::chrono::duration<double>(used - std::exchange(usedCPU_, used)).count();
  return {span > 0 ? 100 * busy / span / cores : 0, residentMemory()};
}

}  // namespace pellion
