#include "pellion/fleet/fleet_steps.h"

#include <algorithm>
#include <array>
#include <vector>

#include "pellion/document/shape.h"
#include "pellion/steps/scenario_steps.h"

namespace pellion {
namespace {

using platform::Value;

double secondsOf(const Value& value) { return std::chrono::duration<double>(durationOf(value)).count(); }

void checkSpan(std::string_view file, const JSONNode& span) {
  if (!isList(span.value)) return checkShape(file, span, shapes::seconds, "\"advance\"");
  if (span.elements.size() == 2) {
    for (const JSONNode& end : span.elements) checkShape(file, end, shapes::seconds, "\"advance\"");
    if (secondsOf(span.elements[0].value) <= secondsOf(span.elements[1].value)) return;
  }
  throw errorAt(file, span.position, "a span of time has two ends, the shorter time first, such as [2, 1200]");
}

const Shape spanShape{"seconds, or two numbers of seconds with any time between them",
                      [](const Value& value) { return value.isNumber() || isList(value); },
                      {},
                      nullptr,
                      checkSpan};

const Shape chanceShape{"a number above 0, and 1 at most", [](const Value& value) {
                          if (value.kind() == Value::Kind::integer) return value.integer() == 1;
                          return value.kind() == Value::Kind::floating && value.floating() > 0 && value.floating() <= 1;
                        }};
const Shape repeatedShape{"an integer from 1 to a million",
                          [](const Value& value) { return isIntegerIn(value, 1, 1'000'000); }};
const Field maybeFields[] = {{"chance", &chanceShape, true}, {"steps", &heldStepsShape, true}};
const Field repeatFields[] = {{"times", &repeatedShape}, {"steps", &heldStepsShape, true}};
const Shape maybeShape{"an object with a chance and steps", isObject, maybeFields};
const Shape repeatShape{"an object with steps", isObject, repeatFields};

void passOver(ScenarioPhone& /*phone*/, const JSONNode& /*argument*/) {}

void refuseBackend(const Scenario& scenario, const JSONNode& argument) {
  throw errorAt(scenario.file, argument.position,
                "a life cannot change the backend of a whole fleet; put the fault into the plan's \"faults\"");
}

/// An endless block without any time in it would keep its thread for itself.
void checkRepeat(const Scenario& scenario, const JSONNode& block) {
  if (block.find("times") != nullptr) return;
  const auto takesTime = [](const JSONNode& step) {
    const Value* wait = step.value.find("advance");
    const Value last = wait == nullptr ? Value(0) : isList(*wait) ? wait->elements().front() : *wait;
    return last.isNumber() && secondsOf(last) >= 0.001;
  };
  if (std::ranges::any_of(block.find("steps")->elements, takesTime)) return;
  throw errorAt(
      scenario.file, block.position,
      "this block repeats without end and takes no time; put an \"advance\" into its steps, or give it \"times\"");
}

std::vector<StepKind> makeKinds() {
  using Needs = StepKind::Needs;
  std::vector<StepKind> kinds;
  for (StepKind kind : stepKinds()) {
    if (kind.name == "advance") kind.shape = &spanShape;
    if (kind.name == "backend") kind.check = refuseBackend;
    if (kind.run.onPhone == nullptr || kind.name == "say") kind.run = passOver;
    kinds.push_back(kind);
  }
  kinds.push_back(
      {.name = "maybe", .shape = &maybeShape, .run = passOver, .needs = Needs::nothing, .holdsSteps = true});
  kinds.push_back({.name = "repeat",
                   .shape = &repeatShape,
                   .run = passOver,
                   .needs = Needs::nothing,
                   .check = checkRepeat,
                   .holdsSteps = true});
  return kinds;
}

}  // namespace

const Shape heldStepsShape{"a list of at least one step",
                           [](const Value& value) { return isList(value) && !value.elements().empty(); }};

std::span<const StepKind> lifeStepKinds() {
  static const std::vector<StepKind> kinds = makeKinds();
  return kinds;
}

LifeStep lifeStepOf(const Step& step) {
  if (step.kind->name == "maybe") return LifeStep::maybe;
  if (step.kind->name == "repeat") return LifeStep::repeats;
  if (step.kind->name == "advance") return LifeStep::waits;
  return step.kind->run.onPhone == passOver ? LifeStep::nothing : LifeStep::acts;
}

double share(FleetRandom& random) { return std::uniform_real_distribution<double>(0, 1)(random); }

std::chrono::nanoseconds waitOf(const Step& step, FleetRandom& random) {
  const Value& wait = step.argument.value;
  if (!isList(wait)) return durationOf(wait);
  const double least = secondsOf(wait.elements()[0]);
  const double most = secondsOf(wait.elements()[1]);
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::chrono::duration<double>(least + (most - least) * share(random)));
}

bool isTaken(const Step& step, FleetRandom& random) {
  const Value& chance = step.argument.find("chance")->value;
  return share(random) < (chance.kind() == Value::Kind::integer ? 1.0 : chance.floating());
}

std::optional<std::int64_t> timesOf(const Step& step) {
  const JSONNode* times = step.argument.find("times");
  return times == nullptr ? std::nullopt : std::optional(times->value.integer());
}

}  // namespace pellion
