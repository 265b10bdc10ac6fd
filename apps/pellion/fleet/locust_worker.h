#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "pellion/fleet/fleet.h"
#include "pellion/fleet/fleet_plan.h"
#include "pellion/fleet/locust_messages.h"
#include "pellion/fleet/locust_socket.h"

namespace pellion {

/// A worker of Locust whose users are the phones of a plan: its master says how many phones of each kind are to be
/// alive, and receives statistics. Each run of the master is a fleet of its own, from the first "spawn" to the "stop",
/// and the waves and faults of the plan follow the start of that fleet.
///
/// A master that was lost may come back as another program, which knows nothing of this worker. So the worker registers
/// anew with each connection. Its phones go on meanwhile: a master that asks for them in time takes them over.
///
/// Belongs to one thread, which calls turn() again and again; only that call does anything.
class LocustWorker {
 public:
  struct Times {
    std::chrono::nanoseconds heartbeat = std::chrono::seconds(1);     ///< a master misses the worker after three
    std::chrono::nanoseconds report = std::chrono::seconds(3);        ///< from statistics to statistics
    std::chrono::nanoseconds pause = std::chrono::milliseconds(500);  ///< before another connection, see disconnect()
    std::chrono::nanoseconds answer = std::chrono::seconds(10);       ///< then the worker asks a silent master again
    std::chrono::nanoseconds orphan = std::chrono::seconds(10);       ///< phones go on without a master
    std::chrono::nanoseconds patience = std::chrono::minutes(10);     ///< then a worker without a master ends
    std::chrono::nanoseconds settling = std::chrono::seconds(5);  ///< requests in flight may take so long at the end
    std::chrono::nanoseconds quitting =
        std::chrono::milliseconds(250);  ///< of the 500 ms that a master waits at its end
  };
  struct Options {
    std::string endpoint;  ///< "tcp://HOST:PORT"
    std::string id;        ///< unlike that of any other worker of the master
    /// Makes the fleet of a run, against the master's host if it has one. Called on a thread of its own. An InputError
    /// refuses the run, and the master shows its text.
    std::function<std::unique_ptr<Fleet>(const std::optional<std::string>& host, std::uint64_t firstNumber)> makeFleet;
    /// Throws InputError if this machine cannot keep so many phones busy.
    std::function<void(std::size_t phones)> checkPhones = [](std::size_t) {};
    std::function<void(const std::string&)> say = [](const std::string&) {};  ///< a line for people
    Times times = {};
  };
  /// The plan outlives this object. Throws InputError where two kinds would be the same class, or one would be none.
  LocustWorker(const FleetPlan& plan, Options options);
  LocustWorker(const LocustWorker&) = delete;
  LocustWorker& operator=(const LocustWorker&) = delete;
  ~LocustWorker();

  /// Waits for the master, no longer than `wait`, and does what it asks for and what is due.
  void turn(FleetTime now, std::chrono::milliseconds wait);
  /// Ends the phones in order, reports, and takes leave of the master. turn() does that.
  void quit() { wantsToQuit_ = true; }
  [[nodiscard]] bool hasEnded() const { return hasEnded_; }
  /// Whether it ended because there was no master.
  [[nodiscard]] bool isAbandoned() const { return isAbandoned_; }

  [[nodiscard]] std::size_t phones() const { return fleet_ ? fleet_->phones() : 0; }
  /// All that has happened since the last call, reported or not.
  FleetFigures takeFigures() { return std::exchange(figures_, {}); }

  /// So many numbers of phones belong to one worker.
  static constexpr std::uint64_t numbersOfWorker = 10'000'000;

 private:
  enum class State : std::uint8_t { ready, spawning, running, cleanup };
  enum class Then : std::uint8_t { wait, stop, quit };  ///< what follows the end of a fleet

  void send(const std::string& message);
  void disconnect(FleetTime now);
  void receive(FleetTime now);
  void handleConnected(FleetTime now);
  void handleLost(std::string text, FleetTime now);
  void handle(const std::string& message, FleetTime now);
  void acknowledge(const LocustOrder& order);
  void spawn(LocustSpawn spawn, FleetTime now);
  void startFleet(FleetTime now);
  void finishStart(FleetTime now);
  void setCounts();
  void complain(const std::string& text);
  void refuse(const std::string& text);
  void stop(FleetTime now);
  void endFleet(Then then, std::chrono::nanoseconds settling, FleetTime now);
  void finishEnd(FleetTime now);
  void registerAgain(FleetTime now);
  void leave();
  void askToBeKnown(FleetTime now);
  void collect(FleetTime now);
  void report(FleetTime now);
  void doFleetsWork(FleetTime now);
  void doMastersWork(FleetTime now);
  [[nodiscard]] std::string unknownClasses(const LocustCounts& counts) const;
  [[nodiscard]] LocustCounts counts() const;
  [[nodiscard]] double wallTime(FleetTime now) const;
  LocustHealth health(FleetTime now);

  const FleetPlan& plan_;
  const Options options_;
  std::vector<std::string> classes_;      ///< by kind
  std::unique_ptr<LocustSocket> socket_;  ///< null in the pause before another one
  FleetTime connectAt_;

  const FleetTime startedAt_ = std::chrono::steady_clock::now();
  const double startedAtWallTime_;

  // The master.
  State state_ = State::ready;
  bool isConnected_ = false;
  bool isKnown_ = false;       ///< the master has acknowledged this worker, over this connection
  bool isIntroduced_ = false;  ///< a line for people says so
  bool wasKnown_ = false;      ///< over an earlier one, so that it may know the worker still
  std::uint64_t index_ = 0;    ///< the worker's number
  double lastTimestamp_ = 0;   ///< of the last spawn
  std::optional<FleetTime> askedAt_;
  std::optional<FleetTime> lonelySince_;  ///< no master knows the worker
  std::optional<FleetTime> heartbeatAt_;  ///< the last one
  std::string complaint_;                 ///< the last one
  std::set<std::string> strangeOrders_;
  bool wantsToQuit_ = false;
  bool hasEnded_ = false;
  bool isAbandoned_ = false;

  // The run.
  std::optional<LocustSpawn> wanted_;  ///< not yet done
  std::unique_ptr<Fleet> fleet_;
  std::uint64_t fleetIndex_ = 0;
  std::optional<FleetTime> orphanedAt_;  ///< the master of the fleet was lost, and none has taken it over
  bool isRefused_ = false;
  std::optional<Then> then_;  ///< the fleet is to end, or is ending
  std::chrono::nanoseconds settling_;
  std::future<std::unique_ptr<Fleet>> starting_;
  std::future<void> ending_;  ///< only its thread uses the fleet

  // Figures.
  FleetFigures figures_;
  std::optional<LocustStatistics> statistics_;
  FleetTime reportedAt_;
  std::uint64_t reported_ = 0;  ///< requests, to this master
  double second_ = 0;           ///< since 1970, of the figures that are being counted
  std::chrono::nanoseconds usedCPU_{};
  FleetTime usedAt_;
};

}  // namespace pellion
