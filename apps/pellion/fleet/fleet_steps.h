#pragma once

#include <chrono>
#include <random>
#include <span>

#include "pellion/document/scenario.h"

namespace pellion {

/// A generator whose state is one word, because each phone has one of its own.
using FleetRandom = std::linear_congruential_engine<std::uint64_t, 6364136223846793005U, 1442695040888963407U, 0>;

/// The steps of a life: those of scenarios, "advance" by a random time, and the blocks "maybe" and "repeat". A life
/// passes over what only a single run can do: "say" and "expect".
std::span<const StepKind> lifeStepKinds();

extern const Shape heldStepsShape;

enum class LifeStep { acts, waits, maybe, repeats, nothing };
LifeStep lifeStepOf(const Step& step);

/// Of a step that waits: a number of seconds, or a time between two, each as likely as the others.
std::chrono::nanoseconds waitOf(const Step& step, FleetRandom& random);
/// Of a block "maybe": whether this phone takes it, this time.
bool isTaken(const Step& step, FleetRandom& random);
/// Of a block "repeat"; absent: as long as the fleet lasts.
std::optional<std::int64_t> timesOf(const Step& step);

/// A number from 0 to 1, without 1.
double share(FleetRandom& random);

}  // namespace pellion
