#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/backend/answer.h"
#include "pellion/document/scenario.h"

namespace pellion {

// What a fleet does, as a document: docs/fleet.md describes it, docs/fleet.schema.json describes it for tools.

/// A kind of phone: the life that each phone of it leads.
struct FleetKind {
  std::string name = {};
  double weight = 1;  ///< its share of the fleet, beside the other kinds' weights
  double speed = 1;   ///< how many seconds of its life pass in a second
  Scenario life;      ///< its configuration may hold "{phone}"
};

/// Steps that many phones take at about the same time, beside their lives: a campaign, a release, a change of consent.
struct FleetWave {
  std::string name = {};
  std::chrono::nanoseconds at{};     ///< after the fleet's start
  std::chrono::nanoseconds over{};   ///< each phone begins at a random time in this span
  std::chrono::nanoseconds every{};  ///< it comes again after this time; zero: it comes once
  double reach = 1;                  ///< the share of the phones that take part
  /// The steps for each kind, in the order of FleetPlan::kinds; none for a kind that takes no part.
  std::vector<std::vector<Step>> steps = {};
};

/// What the built-in backend does wrong for a while.
struct FleetFault {
  std::chrono::nanoseconds at{};
  std::chrono::nanoseconds duration{};
  Answer answer = {};
};

struct FleetPlan {
  std::string file = {};
  std::string name = {};
  std::string description = {};
  std::size_t phones = 100;
  double rate = 100;  ///< phones that start in a second
  std::chrono::nanoseconds duration = std::chrono::seconds(60);
  std::vector<FleetKind> kinds = {};
  std::vector<FleetWave> waves = {};
  std::vector<FleetFault> faults = {};
};

/// Throws InputError: "file:line:column: what is wrong; what would be right". The life of a kind may be a file beside
/// the plan, which its errors name.
FleetPlan readFleetPlan(const std::string& path);

/// The most requests a second that the plan's start and waves can ask for, at one request for each phone and wave.
double greatestRate(const FleetPlan& plan, std::size_t phones, double rate);

}  // namespace pellion
