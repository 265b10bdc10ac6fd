#include "pellion/fleet/fleet_plan.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

#include "pellion/document/configuration_check.h"
#include "pellion/document/notification_shape.h"
#include "pellion/document/shape.h"
#include "pellion/fleet/fleet_steps.h"
#include "pellion/steps/backend_step.h"
#include "pellion/text/input_file.h"
#include "pellion/text/similar_name.h"
#include "services/core_library/configuration.h"

namespace pellion {

namespace {

constexpr FileKind planFile{"a fleet's plan, a JSON document", "a plan is a few pages of JSON"};
constexpr FileKind lifeFile{"a life, a scenario", "a scenario is a few pages of JSON"};
constexpr std::int64_t mostPhones = 10'000'000;

double numberOf(const Value& value) {
  return value.kind() == Value::Kind::integer ? static_cast<double>(value.integer()) : value.floating();
}
bool isAbove(const Value& value, double least, double most) {
  const bool isOne = value.kind() == Value::Kind::integer || value.kind() == Value::Kind::floating;
  return isOne && numberOf(value) > least && numberOf(value) <= most;
}

const Shape phonesShape{"an integer from 1 to ten million",
                        [](const Value& value) { return isIntegerIn(value, 1, mostPhones); }};
const Shape pauseShape{"a number of seconds, at least 1",
                       [](const Value& value) { return isAbove(value, 0.999, 1e9); }};
const Shape positiveShape{"a number above 0", [](const Value& value) { return isAbove(value, 0, 1e9); }};
const Shape shareShape{"a number above 0, and 1 at most", [](const Value& value) { return isAbove(value, 0, 1); }};
const Shape lifeShape{"a scenario, or the path of one beside the plan",
                      [](const Value& value) { return isObject(value) || value.ifString().has_value(); }};
const Field kindFields[] = {
    {"name", &shapes::text, true}, {"weight", &positiveShape}, {"speed", &positiveShape}, {"life", &lifeShape, true}};
const Shape kindShape{"an object with the name and the life of a kind of phones", isObject, kindFields};
const Shape kindsShape{"a list of at least one kind of phones", heldStepsShape.isKind, {}, &kindShape};
const Field waveFields[] = {{"name", &shapes::text, true},   {"at", &shapes::seconds, true}, {"over", &shapes::seconds},
                            {"every", &pauseShape},          {"reach", &shareShape},         {"kinds", &shapes::texts},
                            {"steps", &heldStepsShape, true}};
const Shape waveShape{"an object with a name, a time and steps", isObject, waveFields};
const Shape wavesShape{"a list of waves", isList, {}, &waveShape};
const Field faultFields[] = {
    {"at", &shapes::seconds, true}, {"for", &positiveShape, true}, {"backend", &backendShape, true}};
const Shape faultShape{"an object with a time, a duration and what the backend does", isObject, faultFields};
const Shape faultsShape{"a list of faults", isList, {}, &faultShape};
const Shape notificationsShape{"an object of notifications by name", isObject, {}, &notificationShape};
const Field planFields[] = {{"name", &shapes::text},
                            {"description", &shapes::text},
                            {"phones", &phonesShape},
                            {"rate", &positiveShape},
                            {"for", &positiveShape},
                            {"configuration", &sharedConfigurationShape},
                            {"notifications", &notificationsShape},
                            {"kinds", &kindsShape, true},
                            {"waves", &wavesShape},
                            {"faults", &faultsShape},
                            {"$schema", &shapes::text}};
const Shape planShape{"an object", isObject, planFields};

template <class Number>
void read(Number& number, const JSONNode& object, std::string_view name) {
  if (const JSONNode* node = object.find(name)) number = static_cast<Number>(numberOf(node->value));
}
void read(std::chrono::nanoseconds& duration, const JSONNode& object, std::string_view name) {
  if (const JSONNode* node = object.find(name)) duration = durationOf(node->value);
}
void read(std::string& text, const JSONNode& object, std::string_view name) {
  if (const JSONNode* node = object.find(name)) text = node->value.text();
}

/// Adds the plan's members to those of a life, which take precedence.
void adopt(JSONNode& life, std::string_view name, const JSONNode* ofPlan) {
  if (ofPlan == nullptr) return;
  const auto own = std::ranges::find(life.members, name, &JSONMember::name);
  if (own == life.members.end()) {
    life.members.push_back({ofPlan->position, std::string(name), *ofPlan});
  } else if (isObject(own->value.value)) {
    JSONNode& node = own->value;
    for (const JSONMember& member : ofPlan->members) {
      if (node.find(member.name) == nullptr) node.members.push_back(member);
    }
    std::vector<Value::Entry> entries;
    for (const JSONMember& member : node.members) entries.push_back({member.name, member.value.value});
    node.value = Value::dictionary(entries);
  }
  std::vector<Value::Entry> entries;
  for (const JSONMember& member : life.members) entries.push_back({member.name, member.value.value});
  life.value = Value::dictionary(entries);
}

Scenario readLife(std::string_view file, const JSONNode& plan, const JSONNode& life) {
  const auto own = life.value.ifString();
  const std::string path =
      own ? (std::filesystem::path(file).parent_path() / life.value.text()).string() : std::string(file);
  JSONNode document = own ? readJSON(path, readInputFile(path, lifeFile), JSONForm::commented) : life;
  if (isObject(document.value)) {
    adopt(document, "notifications", plan.find("notifications"));
    adopt(document, "configuration", plan.find("configuration"));
  }
  return readScenario(path, std::move(document), lifeStepKinds());
}

/// The completed configuration must be usable, as a phone needs it.
void checkConfiguration(const Scenario& life) {
  std::vector<Value::Entry> entries(life.configuration.value.entries().begin(),
                                    life.configuration.value.entries().end());
  entries.push_back({"SERVER_URL", "http://127.0.0.1"});
  std::erase_if(entries,
                [](const Value::Entry& entry) { return entry.value.isNull() || entry.key == Value("CA_FILE"); });
  try {
    services::configurationFrom(Value::dictionary(entries), life.file);
  } catch (const services::ConfigurationError& error) {
    throw errorAt(life.file, life.configuration.position, "the configuration cannot be used: " + error.problem());
  }
}

void readKinds(FleetPlan& plan, const JSONNode& document) {
  for (const JSONNode& node : document.find("kinds")->elements) {
    FleetKind kind{.name = std::string(node.find("name")->value.text()),
                   .life = readLife(plan.file, document, *node.find("life"))};
    checkConfiguration(kind.life);
    read(kind.weight, node, "weight");
    read(kind.speed, node, "speed");
    if (std::ranges::find(plan.kinds, kind.name, &FleetKind::name) != plan.kinds.end()) {
      throw errorAt(plan.file, node.find("name")->position,
                    "two kinds have the name \"" + kind.name + "\"; give each a name of its own");
    }
    plan.kinds.push_back(std::move(kind));
  }
}

/// Whether the wave is for this kind.
bool isFor(const FleetKind& kind, const JSONNode& wave) {
  const JSONNode* names = wave.find("kinds");
  return names == nullptr ||
         std::ranges::any_of(names->elements, [&](const JSONNode& name) { return name.value == Value(kind.name); });
}

void checkKindNames(const FleetPlan& plan, const JSONNode& wave) {
  const JSONNode* names = wave.find("kinds");
  if (names == nullptr) return;
  for (const JSONNode& name : names->elements) {
    if (std::ranges::find(plan.kinds, name.value.text(), &FleetKind::name) != plan.kinds.end()) continue;
    std::vector<std::string_view> known;
    for (const FleetKind& kind : plan.kinds) known.emplace_back(kind.name);
    throw errorAt(plan.file, name.position,
                  "there is no kind \"" + std::string(name.value.text()) + "\"; " +
                      remedyForName(name.value.text(), known, "there are"));
  }
}

/// A wave's steps have places in the plan, and the notifications of a life.
std::vector<Step> readWaveSteps(const FleetPlan& plan, const FleetKind& kind, const JSONNode& steps) {
  Scenario inPlan = kind.life;
  inPlan.file = plan.file;
  return readSteps(inPlan, steps, lifeStepKinds());
}

bool repeatsWithoutEnd(const std::vector<Step>& steps) {
  return std::ranges::any_of(steps, [](const Step& step) {
    return (lifeStepOf(step) == LifeStep::repeats && !timesOf(step)) || repeatsWithoutEnd(step.steps);
  });
}

void readWaves(FleetPlan& plan, const JSONNode& document) {
  const JSONNode* waves = document.find("waves");
  if (waves == nullptr) return;
  for (const JSONNode& node : waves->elements) {
    FleetWave wave;
    read(wave.name, node, "name");
    read(wave.at, node, "at");
    read(wave.over, node, "over");
    read(wave.every, node, "every");
    read(wave.reach, node, "reach");
    checkKindNames(plan, node);
    if (wave.every > std::chrono::nanoseconds::zero() && wave.every < wave.over) {
      throw errorAt(plan.file, node.find("every")->position,
                    "the wave would come again before it is over; make \"every\" at least as long as \"over\"");
    }
    for (const FleetKind& kind : plan.kinds) {
      wave.steps.push_back(isFor(kind, node) ? readWaveSteps(plan, kind, *node.find("steps")) : std::vector<Step>());
    }
    if (wave.every > std::chrono::nanoseconds::zero() && std::ranges::any_of(wave.steps, repeatsWithoutEnd)) {
      throw errorAt(
          plan.file, node.find("every")->position,
          "each time that the wave comes, a block of it would begin again and never end; give the block \"times\"");
    }
    plan.waves.push_back(std::move(wave));
  }
}

void readFaults(FleetPlan& plan, const JSONNode& document) {
  const JSONNode* faults = document.find("faults");
  if (faults == nullptr) return;
  for (const JSONNode& node : faults->elements) {
    const JSONNode& behaviour = *node.find("backend");
    for (const char* name : {"times", "connection", "pace"}) {
      if (const JSONNode* entry = behaviour.find(name)) {
        throw errorAt(
            plan.file, entry->position,
            "a fault answers each request for a while, and has no \"" + std::string(name) + "\"; leave it out");
      }
    }
    FleetFault fault{.answer = answerOf(behaviour)};
    read(fault.at, node, "at");
    read(fault.duration, node, "for");
    const auto begins = [](const FleetFault& each) { return each.at; };
    if (!plan.faults.empty() && fault.at < begins(plan.faults.back()) + plan.faults.back().duration) {
      throw errorAt(plan.file, node.position,
                    "this fault begins before the one above is over; list faults in the order of their times");
    }
    plan.faults.push_back(std::move(fault));
  }
}

}  // namespace

FleetPlan readFleetPlan(const std::string& path) {
  FleetPlan plan{.file = inputName(path), .name = std::filesystem::path(path).stem().string()};
  JSONNode document = readJSON(plan.file, readInputFile(path, planFile), JSONForm::commented);
  if (document.find("kinds") == nullptr && document.find("steps") != nullptr) {
    throw errorAt(plan.file, document.position,
                  "this is a scenario, not a fleet's plan; a plan names it as a life: "
                  R"({"kinds": [{"name": "all", "life": ")" +
                      std::filesystem::path(path).filename().string() + "\"}]}");
  }
  includeFiles(plan.file, document, planShape);
  checkShape(plan.file, document, planShape, "a plan");
  read(plan.name, document, "name");
  read(plan.description, document, "description");
  read(plan.phones, document, "phones");
  read(plan.rate, document, "rate");
  read(plan.duration, document, "for");
  readKinds(plan, document);
  readWaves(plan, document);
  readFaults(plan, document);
  return plan;
}

double greatestRate(const FleetPlan& plan, std::size_t phones, double rate) {
  double greatest = std::min(rate, static_cast<double>(phones));
  double waves = 0;
  for (const FleetWave& wave : plan.waves) {
    const double over = std::max(1.0, std::chrono::duration<double>(wave.over).count());
    waves = std::max(waves, static_cast<double>(phones) * wave.reach / over);
  }
  return std::max(greatest, waves);
}

}  // namespace pellion
