#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "pellion/backend/backend.h"
#include "pellion/fleet/fleet_audit.h"
#include "pellion/fleet/fleet_plan.h"
#include "pellion/fleet/fleet_thread.h"

namespace pellion {

/// Thousands of phones against one backend, in real time, spread over a few threads. Whoever uses it decides how many
/// phones of each kind there are: a ramp of the command, or another program. Belongs to one thread.
class Fleet {
 public:
  struct Options {
    std::optional<std::string> server = {};  ///< without one, a built-in backend
    std::size_t threads = 1;
    std::uint64_t seed = 0;
    std::uint64_t firstNumber = 0;  ///< of the phones, for one of several programs
    std::size_t sources = 1;        ///< addresses of loopback from which phones send: see checkMachine
    bool isAudited = false;         ///< built-in backend only
  };
  /// The plan outlives this object. Throws InputError when no server can be made.
  Fleet(const FleetPlan& plan, Options options);
  Fleet(const Fleet&) = delete;
  Fleet& operator=(const Fleet&) = delete;
  ~Fleet();

  [[nodiscard]] const std::string& serverURL() const { return serverURL_; }

  /// Starts a phone of the kind that its number gives it by the kinds' weights.
  void startNext();
  /// Starts or ends phones of this kind, the last ones first, until there are so many.
  void setCount(std::size_t kind, std::size_t count);
  [[nodiscard]] const std::vector<std::size_t>& counts() const { return counts_; }  ///< by kind
  [[nodiscard]] std::size_t phones() const;

  /// Starts the waves and faults that are due. Call it several times a second.
  void tick();
  [[nodiscard]] std::chrono::nanoseconds age() const { return std::chrono::steady_clock::now() - started_; }

  /// What has happened since the last call.
  FleetFigures takeFigures();

  /// Lets no phone begin a step any more, and waits for the requests in flight, no longer than `limit`.
  void settle(std::chrono::nanoseconds limit);
  /// Ends all phones; what is in flight is lost with them.
  void end();
  /// After end(); nothing unless the fleet is audited.
  [[nodiscard]] std::optional<FleetAudit::Verdict> verdict();

 private:
  Answer answerNow(const ReceivedRequest& request);
  void start(std::size_t kind);
  [[nodiscard]] std::size_t kindOf(std::uint64_t number) const;

  const FleetPlan& plan_;
  const Options options_;
  const FleetTime started_ = std::chrono::steady_clock::now();
  FleetAudit audit_;
  std::mutex faultMutex_;
  const FleetFault* fault_ = nullptr;
  std::unique_ptr<Backend> backend_;
  std::string serverURL_;
  std::vector<std::unique_ptr<FleetBundle>> bundles_;
  std::vector<std::unique_ptr<FleetThread>> threads_;
  FleetFigures last_;  // of the threads that have ended
  std::vector<std::size_t> counts_;
  std::vector<std::vector<std::size_t>> threadOf_;  // by kind, of each phone in the order of the start
  std::uint64_t startedPhones_ = 0;
  std::vector<std::chrono::nanoseconds> nextWave_;
};

}  // namespace pellion
