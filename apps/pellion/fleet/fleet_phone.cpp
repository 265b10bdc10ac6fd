#include "pellion/fleet/fleet_phone.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/objc/programming_error.h"
#include "pellion/run/stack_limit.h"
#include "platform/exception.h"
#include "services/core_library/configuration.h"
#include "services/memory_store.h"
#include "services/property_list/property_list.h"

namespace pellion {
namespace {

using platform::Value;

constexpr std::string_view placeholder = "{phone}";
/// Entries that name one phone or one person.
constexpr std::array<std::string_view, 2> identities{"DEVICE_ID", "ANONYMOUS_ID"};

Value ofPhone(const Value::Entry& entry, const std::string& phone) {
  if (!entry.value.ifString()) return entry.value;
  std::string text(entry.value.text());
  const bool isIdentity = std::ranges::find(identities, entry.key.text()) != identities.end();
  if (isIdentity && text.find(placeholder) == std::string::npos) text.append("-").append(placeholder);
  for (std::size_t at = text.find(placeholder); at != std::string::npos;
       at = text.find(placeholder, at + phone.size())) {
    text.replace(at, placeholder.size(), phone);
  }
  return text;
}

}  // namespace

FleetBundle::FleetBundle(const FleetKind& kind, const std::string& serverURL, std::size_t sources,
                         services::NetworkPolicy::Redirects redirects)
    : sources_(sources), redirects_(redirects) {
  const Value& configuration = kind.life.configuration.value;
  entries_.assign(configuration.entries().begin(), configuration.entries().end());
  entries_.push_back({"SERVER_URL", serverURL});
  const Value complete = Value::dictionary(entries_);
  entries_.assign(complete.entries().begin(), complete.entries().end());
  std::erase_if(entries_, [](const Value::Entry& entry) { return entry.value.isNull(); });
  for (Value::Entry& entry : entries_) {
    if (entry.key == Value("APP_GROUP") && !entry.value.text().empty()) appGroup_ = entry.value.text();
    if (entry.key != Value("CA_FILE")) continue;
    const auto beside = std::filesystem::path(kind.life.file).parent_path() / entry.value.text();
    entry.value = std::filesystem::absolute(beside).string();
  }
  TemporaryDirectory::write([&] {
    services::writePropertyList(directory_.path() / (std::string(host::CoreLibrary::configurationResource) + ".plist"),
                                Value::dictionary(entries_));
  });
}

services::Configuration FleetBundle::configuration(std::uint64_t number,
                                                   std::span<const Value::Entry> overrides) const {
  const std::string phone = std::to_string(number);
  std::vector<Value::Entry> entries;
  entries.reserve(entries_.size() + overrides.size());
  for (const auto list : {std::span<const Value::Entry>(entries_), overrides}) {
    for (const Value::Entry& entry : list) entries.push_back({entry.key, ofPhone(entry, phone)});
  }
  const Value merged = Value::dictionary(entries);  // keeps the last value of a repeated key
  entries.assign(merged.entries().begin(), merged.entries().end());
  std::erase_if(entries, [](const Value::Entry& entry) { return entry.value.isNull(); });
  services::Configuration configuration = services::configurationFrom(Value::dictionary(entries), path());
  configuration.networkPolicy.redirects = redirects_;
  if (sources_ > 1) configuration.networkPolicy.sourceAddress = "127.0.0." + std::to_string(2 + number % sources_);
  return configuration;
}

FleetPhone::FleetPhone(const FleetKind& kind, const FleetBundle& bundle, std::uint64_t number, std::uint64_t seed,
                       FleetSurroundings& surroundings)
    : ScenarioPhone(kind.life),
      kind_(kind),
      bundle_(bundle),
      surroundings_(surroundings),
      number_(number),
      random_((seed + 1) * 0x9E3779B97F4A7C15U ^ number * 0xD1342543DE82EF95U),
      phone_(surroundings.network, {.storage = {},
                                    .clock = host::Clock::Kind::realTime,
                                    .urlSchemes = kind.life.urlSchemes,
                                    .linkedBefore17 = kind.life.application.linkedBefore17,
                                    .hiddenClasses = kind.life.application.missingClasses,
                                    .stores = std::make_shared<services::MemoryStores>(),
                                    .bundle = bundle.path(),
                                    .outcomes = surroundings.outcomes}) {
  random_.discard(2);  // seeds that are alike give first numbers that are alike
  configure({});
}

FleetPhone::~FleetPhone() { phone_.terminate(); }

void FleetPhone::configure(std::span<const Value::Entry> overrides) {
  for (const Value::Entry& entry : overrides) {
    std::erase_if(overrides_, [&](const Value::Entry& earlier) { return earlier.key == entry.key; });
    overrides_.push_back(entry);
  }
  phone_.useConfiguration(bundle_.configuration(number_, overrides_));
}

Value FleetPhone::token(const Value& bytes) {
  std::string text(bytes.bytes().begin(), bytes.bytes().end());
  for (const std::uint32_t number : {static_cast<std::uint32_t>(number_), launches_}) {
    for (unsigned shift = 32; shift > 0; shift -= 8) text += static_cast<char>(number >> (shift - 8));
  }
  return Value::bytes(text);
}

void FleetPhone::begin(const std::vector<Step>& steps, FleetTime at) {
  if (!steps.empty()) strands_.push_back({at, &steps == &scenario().steps ? kind_.speed : 1, {{&steps}}});
}

void FleetPhone::turn(FleetTime now) {
  for (Strand& strand : strands_) {  // its steps add none
    if (strand.due <= now) follow(strand, now);
    if (endIfRaised()) return;
  }
  std::erase_if(strands_, [](const Strand& strand) { return strand.blocks.empty(); });
  if (phone_.process() == nullptr) return;
  inProcess([] {});
  endIfRaised();
}

/// As on the platform, an exception that nothing catches ends the application.
bool FleetPhone::endIfRaised() {
  if (!std::exchange(hasRaised_, false)) return false;
  strands_.clear();
  phone_.terminate();
  return true;
}

bool FleetPhone::isSending() { return phone_.process() != nullptr && phone_.process()->mainQueue().hasOutsideWork(); }

void FleetPhone::follow(Strand& strand, FleetTime now) {
  constexpr int most = 100;  // in one turn, so that no life keeps its thread from the others
  for (int taken = 0; taken < most && strand.due <= now && !hasRaised_; ++taken) {
    const Step* step = takeNext(strand);
    if (step == nullptr) return;
    switch (lifeStepOf(*step)) {
      case LifeStep::acts: act(*step); break;
      case LifeStep::waits:
        strand.due += std::chrono::duration_cast<std::chrono::nanoseconds>(waitOf(*step, random_) / strand.speed);
        break;
      case LifeStep::maybe:
        if (isTaken(*step, random_)) strand.blocks.push_back({&step->steps});
        break;
      case LifeStep::repeats: strand.blocks.push_back({&step->steps, 0, timesOf(*step)}); break;
      case LifeStep::nothing: break;
    }
  }
}

const Step* FleetPhone::takeNext(Strand& strand) {
  while (!strand.blocks.empty()) {
    Block& block = strand.blocks.back();
    if (block.next < block.steps->size()) return &(*block.steps)[block.next++];
    block.next = 0;
    if (block.timesLeft && --*block.timesLeft == 0) strand.blocks.pop_back();
  }
  return nullptr;
}

/// A step that needs an application passes over a phone whose application has ended, except that one starts it again.
void FleetPhone::act(const Step& step) {
  const bool launches = step.kind->name == "launch" || step.kind->name == "relaunch";
  if (launches) {
    ++launches_;
    ++surroundings_.figures.launches;
  } else if (step.kind->needs == StepKind::Needs::process && phone_.process() == nullptr) {
    return;
  }
  ++surroundings_.figures.steps;
  attempt("scenario", [&] { step.kind->run.onPhone(*this, step.argument); });
}

void FleetPhone::inProcess(const std::function<void()>& work) {
  host::Process& process = *phone_.process();
  if (std::exchange(connectedLaunch_, launches_) != launches_) {
    process.mainQueue().onWork([this] { surroundings_.wake(*this); });
  }
  const host::ProcessScope scope(process);
  const StackLimit limit;
  attempt("module", work);
  if (!hasRaised_) attempt("module", [&] { process.mainQueue().runWhatIsDue(); });
}

void FleetPhone::attempt(std::string_view /*actor*/, const std::function<void()>& work) {
  const auto raise = [&](const std::string& name, const std::string& reason) {
    hasRaised_ = true;
    surroundings_.raised(name + ": " + reason);
  };
  try {
    work();
  } catch (const platform::Exception& exception) {
    raise(exception.name(), exception.reason());
  } catch (const host::ProgrammingError& error) {
    raise("a fatal error", error.what());
  } catch (const services::ConfigurationError& error) {
    raise("the configuration cannot be used", error.problem());
  } catch (const std::exception& error) {
    raise("an error of the phone", error.what());
  }
}

std::optional<FleetTime> FleetPhone::next() {
  std::optional<FleetTime> earliest;
  for (const Strand& strand : strands_) {
    if (!earliest || strand.due < *earliest) earliest = strand.due;
  }
  if (phone_.process() == nullptr) return earliest;
  const auto due = phone_.process()->mainQueue().nextDue();
  if (!due) return earliest;
  const FleetTime time = std::chrono::steady_clock::now() + (*due - phone_.clock().now());
  return earliest ? std::min(*earliest, time) : time;
}

}  // namespace pellion
