#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <queue>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "pellion/fleet/fleet_audit.h"
#include "pellion/fleet/fleet_phone.h"
#include "services/url_loading/network.h"

namespace pellion {

/// A thread with some of a fleet's phones, and their network. It sleeps until one of them has something to do.
class FleetThread {
 public:
  struct Options {
    const FleetPlan& plan;
    const std::vector<std::unique_ptr<FleetBundle>>& bundles;  ///< by kind
    std::uint64_t seed = 0;
    FleetAudit* audit = nullptr;  ///< may be null
  };
  explicit FleetThread(Options options);
  FleetThread(const FleetThread&) = delete;
  FleetThread& operator=(const FleetThread&) = delete;
  ~FleetThread() { end(); }
  /// Ends the phones: what is in flight is lost with them. Several threads end at the same time if all are asked first.
  void askToEnd();
  void end();  ///< returns when that is done

  // Any thread; the work is done soon, in the order of the calls.
  void start(std::size_t kind, std::uint64_t number);
  /// Ends the phone of this kind that was started last.
  void stopOne(std::size_t kind);
  /// Lets the phones that the wave reaches begin its steps, each at a random time of its span.
  void startWave(const FleetWave& wave);
  /// Lets no phone begin a step any more.
  void endSteps();

  /// Any thread: what has happened since the last call.
  FleetFigures takeFigures();
  /// Any thread, waits for this one: phones with a request in flight.
  [[nodiscard]] std::size_t inFlight();

 private:
  struct Turn {
    FleetTime at;
    FleetPhone* phone;
    bool operator>(const Turn& other) const { return at > other.at; }
  };
  void run();
  void post(std::function<void()> work);
  void wake(FleetPhone& phone);
  void record(const platform::URLRequest& request, const services::RequestOutcome& outcome);
  void join(const FleetWave& wave, std::size_t kind, FleetPhone& phone, std::chrono::nanoseconds span);
  void turn(FleetPhone& phone);
  void plan(FleetPhone& phone);
  void turnPhonesThatAreDue();

  const Options options_;
  services::Network network_;
  std::mutex figuresMutex_;
  FleetFigures figures_;     // of requests, by handler threads
  FleetFigures ownFigures_;  // this thread's, moved to the others after each turn
  FleetSurroundings surroundings_;
  std::vector<std::vector<std::unique_ptr<FleetPhone>>> phones_;  // by kind, in the order of their start
  struct Running {
    const FleetWave* wave;
    FleetTime end;  ///< of its span
  };
  std::vector<Running> waves_;  // in whose span phones may still begin
  std::atomic<bool> isClosed_ = false;
  std::unordered_set<FleetPhone*> alive_;
  std::priority_queue<Turn, std::vector<Turn>, std::greater<>> turns_;  // may hold some that are out of date

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::function<void()>> posted_;
  std::vector<FleetPhone*> woken_;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace pellion
