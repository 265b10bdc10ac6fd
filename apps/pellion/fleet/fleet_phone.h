#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/phone/phone.h"
#include "pellion/fleet/fleet_figures.h"
#include "pellion/fleet/fleet_plan.h"
#include "pellion/fleet/fleet_steps.h"
#include "pellion/run/scenario_phone.h"
#include "pellion/run/temporary_directory.h"

namespace pellion {

using FleetTime = std::chrono::steady_clock::time_point;

/// What all phones of a kind share: their bundle, and the configuration before it is made a phone's own.
class FleetBundle {
 public:
  FleetBundle(const FleetKind& kind, const std::string& serverURL, std::size_t sources,
              services::NetworkPolicy::Redirects redirects);
  [[nodiscard]] const std::filesystem::path& path() const { return directory_.path(); }
  /// The entries, where each "{phone}" is the phone's number, and later ones replace earlier ones. An identity that
  /// holds none gets the number at its end.
  [[nodiscard]] services::Configuration configuration(std::uint64_t number,
                                                      std::span<const platform::Value::Entry> overrides) const;
  [[nodiscard]] std::optional<std::string> appGroup() const { return appGroup_; }

 private:
  TemporaryDirectory directory_;
  const std::size_t sources_;
  const services::NetworkPolicy::Redirects redirects_;
  std::vector<platform::Value::Entry> entries_;
  std::optional<std::string> appGroup_;
};

class FleetPhone;

/// What the phones of a thread share. Outlives them.
struct FleetSurroundings {
  services::Network& network;
  host::OutcomeSink outcomes;                      ///< any thread
  std::function<void(FleetPhone&)> wake;           ///< any thread: the phone's main queue has new work
  std::function<void(const std::string&)> raised;  ///< its application ended by an exception
  FleetFigures& figures;                           ///< launches and steps; the phones' thread
};

/// A phone of a fleet: it takes the steps of its life, and those of waves, at their times, and never waits. Belongs to
/// one thread.
class FleetPhone final : public ScenarioPhone {
 public:
  FleetPhone(const FleetKind& kind, const FleetBundle& bundle, std::uint64_t number, std::uint64_t seed,
             FleetSurroundings& surroundings);
  ~FleetPhone();

  /// From `at` on takes these steps, which outlive the phone, beside those that it takes already.
  void begin(const std::vector<Step>& steps, FleetTime at);
  void beginLife(FleetTime at) { begin(scenario().steps, at); }
  /// Takes the steps and does the work that is due.
  void turn(FleetTime now);
  /// Takes no more steps; requests in flight and the application's timers go on.
  void endSteps() { strands_.clear(); }
  /// When the next step or work is due; nothing for an idle phone.
  [[nodiscard]] std::optional<FleetTime> next();
  /// Whether one of its requests is in flight.
  [[nodiscard]] bool isSending();
  [[nodiscard]] FleetRandom& random() { return random_; }

  // For the steps:
  [[nodiscard]] host::Phone& device() override { return phone_; }
  void report(std::string_view /*actor*/, std::string_view /*what*/, platform::Value /*details*/) override {}
  void configure(std::span<const platform::Value::Entry> overrides) override;
  [[nodiscard]] std::optional<std::string> appGroup() const override { return bundle_.appGroup(); }
  /// The bytes, then four of the phone's number and four of the launch's: each phone has a token of its own.
  [[nodiscard]] platform::Value token(const platform::Value& bytes) override;
  bool isNews(std::string_view /*name*/) override { return false; }
  void handsOver(std::string_view /*name*/, const platform::Value& /*payload*/, bool /*isWhole*/) override {}
  void inProcess(const std::function<void()>& work) override;
  /// An exception ends the application, as on the platform.
  void attempt(std::string_view actor, const std::function<void()>& work) override;

  /// For its thread: the time at which it is to turn next, if that is planned.
  std::optional<FleetTime> planned;

 private:
  struct Block {
    const std::vector<Step>* steps;
    std::size_t next = 0;
    std::optional<std::int64_t> timesLeft = 1;  ///< nothing: without end
  };
  struct Strand {
    FleetTime due;
    double speed;
    std::vector<Block> blocks;
  };
  void follow(Strand& strand, FleetTime now);
  const Step* takeNext(Strand& strand);
  void act(const Step& step);
  bool endIfRaised();

  const FleetKind& kind_;
  const FleetBundle& bundle_;
  FleetSurroundings& surroundings_;
  const std::uint64_t number_;
  FleetRandom random_;
  std::vector<Strand> strands_;
  std::vector<platform::Value::Entry> overrides_;
  std::uint32_t launches_ = 0;
  std::uint32_t connectedLaunch_ = 0;  ///< whose main queue wakes the thread
  bool hasRaised_ = false;
  host::Phone phone_;
};

}  // namespace pellion
