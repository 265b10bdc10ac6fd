#include "pellion/run/scenario_run.h"

#include <algorithm>

#include "host/objc/programming_error.h"
#include "host/phone/phone.h"
#include "pellion/run/event_details.h"
#include "pellion/run/stack_limit.h"
#include "platform/exception.h"
#include "services/property_list/property_list.h"
#include "services/url_loading/network.h"

namespace pellion {

using platform::Value;

namespace {

/// Whether the step expects that something was raised.
bool expectsRaised(const Step& step) { return step.kind->name == "expect" && step.argument.find("raised") != nullptr; }

}  // namespace

ScenarioRun::ScenarioRun(const Scenario& scenario, services::Network& network, Options options)
    : ScenarioPhone(scenario),
      options_(std::move(options)),
      warnings_(scenario),
      phone_(std::make_unique<host::Phone>(
          network, host::Phone::Options{.storage = storage_.path(),
                                        .clock = options_.clock,
                                        .urlSchemes = scenario.urlSchemes,
                                        .linkedBefore17 = scenario.application.linkedBefore17,
                                        .hiddenClasses = scenario.application.missingClasses,
                                        .sink = [this](const host::Event& event) { receive(event); },
                                        .listensToLog = true})) {
  if (options_.server) return;
  backend_ = std::make_unique<Backend>(Backend::Options{
      .notify = [this](std::string_view what, const Value& details) { report("backend", what, details); },
      .network = &network,
      .keepsRequests = false});
}

// The process is destroyed first, so that no code uses a backend that is already destroyed.
ScenarioRun::~ScenarioRun() {
  phone_->terminate();
  backend_.reset();
}

void ScenarioRun::begin() {
  std::vector<Value::Entry> heading{
      {"name", scenario().name}, {"description", scenario().description}, {"file", scenario().file}};
  if (scenario().hasDefaultConfiguration) heading.push_back({"configuration", "default"});
  if (const auto server = configuredServer()) heading.push_back({"server", *server});
  report("scenario", "begins", Value::dictionary(heading));
  runAt(scenario().configuration.position, [this] { configure(scenario().configuration.value.entries()); });
}

void ScenarioRun::play(const Step& step) {
  {
    const std::lock_guard lock(mutex_);
    warnings_.begin(step);
  }
  runAt(step.position, [&] { perform(step); });
}

void ScenarioRun::changeScenario(const std::function<void()>& change) {
  const std::lock_guard lock(mutex_);
  change();
}

bool ScenarioRun::run() {
  begin();
  for (auto step = scenario().steps.begin(); step != scenario().steps.end() && !hasFailed_; ++step) {
    play(*step);
    const auto next = std::next(step);
    if (!hasFailed_ && (next == scenario().steps.end() || !expectsRaised(*next))) refuseRaised(*step);
  }
  conclude();
  const std::lock_guard lock(mutex_);
  isOver_ = true;
  return !hasFailed_;
}

void ScenarioRun::conclude(bool withWarnings) {
  if (withWarnings && !hasFailed_) reportWarnings();
  report("scenario", hasFailed_ ? "failed" : "passed", Value::dictionary({{"name", scenario().name}}));
}

/// The host's error names the file in the phone's storage; the text to correct is in the scenario.
void ScenarioRun::runAt(Position position, const std::function<void()>& work) {
  const auto fail = [&](std::string_view text) {
    const std::string file = phone_->configurationPath().string() + ": ";
    if (text.starts_with(file)) text.remove_prefix(file.size());
    throw errorAt(scenario().file, position, "the configuration cannot be used: " + std::string(text));
  };
  try {
    work();
  } catch (const services::ConfigurationError& error) {
    fail(error.what());
  } catch (const services::PropertyListError& error) {
    fail(error.what());
  }
}

void ScenarioRun::receive(const host::Event& event) {
  const std::lock_guard lock(mutex_);
  if (othersAreHeldBack_ && std::this_thread::get_id() != mainThread_) {
    heldBack_.push_back(event);
  } else {
    record(event);
  }
}

void ScenarioRun::holdOthersBack() {
  const std::lock_guard lock(mutex_);
  othersAreHeldBack_ = true;
}

void ScenarioRun::releaseOthers() {
  const std::lock_guard lock(mutex_);
  othersAreHeldBack_ = false;
  for (host::Event& event : std::exchange(heldBack_, {})) record(std::move(event));
}

void ScenarioRun::record(host::Event event) {
  if (isOver_) return;
  if (event.actor == "network" && event.what == "sends") {
    requests_.push_back(sentRequest(event.details, ++requestCount_, secret_));
    event.details = requests_.back().details();
  } else {
    event.details = readableDetails(event);
  }
  warnings_.observe(event);
  untaken_[{std::string(event.actor), std::string(event.what)}].push_back(event.details);
  if (!options_.sink) return;
  event.details = scenario().redaction.value(event.details);
  options_.sink(event);
}

void ScenarioRun::report(std::string_view actor, std::string_view what, Value details) {
  receive({phone_->clock().now(), actor, what, std::move(details)});
}

void ScenarioRun::configure(std::span<const Value::Entry> overrides) {
  // A dictionary keeps the last value of a repeated key.
  configuration_.insert(configuration_.end(), overrides.begin(), overrides.end());
  const Value merged = Value::dictionary(configuration_);
  configuration_.assign(merged.entries().begin(), merged.entries().end());
  std::erase_if(configuration_, [](const Value::Entry& entry) { return entry.value.isNull(); });

  std::vector<Value::Entry> entries = configuration_;
  if (const auto url = serverURL(merged)) entries.push_back({"SERVER_URL", *url});
  if (const Value* file = merged.find("CA_FILE"); file != nullptr && file->ifString()) {
    // Absolute: the phone looks for a relative path beside its own copy of the configuration.
    const auto beside = std::filesystem::path(scenario().file).parent_path() / file->text();
    entries.push_back({"CA_FILE", std::filesystem::absolute(beside).string()});
  }
  TemporaryDirectory::write([&] { phone_->configure(Value::dictionary(entries)); });
  const Value* secret = merged.find("JWT_SECRET");
  const std::lock_guard lock(mutex_);
  secret_ = secret == nullptr ? std::nullopt : std::optional<std::string>(secret->text());
  if (backend_ != nullptr) backend_->setSecret(secret_);
}

/// The command takes precedence over the scenario; a scenario without a server uses our backend.
std::optional<std::string> ScenarioRun::serverURL(const Value& configuration) const {
  if (options_.server) return options_.server;
  const std::pair<std::string_view, std::string> placeholders[] = {{"{backend}", backend_->url()},
                                                                   {"{backendPort}", std::to_string(backend_->port())}};
  if (const Value* url = configuration.find("SERVER_URL"); url != nullptr && !url->text().empty()) {
    const std::string_view text = url->text();
    for (const auto& [placeholder, value] : placeholders) {
      const std::size_t found = text.find(placeholder);
      if (found != std::string_view::npos) return std::string(text).replace(found, placeholder.size(), value);
    }
    return std::nullopt;
  }
  const Value* domain = configuration.find("DOMAIN");
  return domain == nullptr || domain->text().empty() ? std::optional(backend_->url()) : std::nullopt;
}

/// The server that the scenario's configuration puts in the place of the built-in backend.
std::optional<std::string> ScenarioRun::configuredServer() const {
  const Value& configuration = scenario().configuration.value;
  if (serverURL(configuration)) return std::nullopt;
  const Value* url = configuration.find("SERVER_URL");
  if (url != nullptr && !url->text().empty()) return std::string(url->text());
  return "the domain " + std::string(configuration.find("DOMAIN")->text());
}

std::optional<std::string> ScenarioRun::appGroup() const {
  const auto entry = std::ranges::find(configuration_, Value("APP_GROUP"), &Value::Entry::key);
  if (entry == configuration_.end() || entry->value.text().empty()) return std::nullopt;
  return std::string(entry->value.text());
}

void ScenarioRun::inProcess(const std::function<void()>& work) {
  host::Process& process = *phone_->process();
  const host::ProcessScope scope(process);
  const StackLimit limit;
  holdOthersBack();
  attempt("module", work);
  attempt("module", [&] { process.mainQueue().runWhatIsDue(); });
  releaseOthers();
  attempt("module", [&] { process.mainQueue().runUntilIdle(); });
}

void ScenarioRun::letPass(std::chrono::nanoseconds duration) {
  host::Process& process = *phone_->process();
  const host::ProcessScope scope(process);
  const StackLimit limit;
  attempt("module", [&] { process.mainQueue().advance(duration); });
}

void ScenarioRun::attempt(std::string_view actor, const std::function<void()>& work) {
  const auto raise = [&](const std::string& name, const std::string& reason) {
    raised_.push_back(name + ": " + reason);
    report(actor, "raised", Value::dictionary({{"name", name}, {"reason", reason}}));
  };
  try {
    work();
  } catch (const platform::Exception& exception) {
    raise(exception.name(), exception.reason());
  } catch (const host::ProgrammingError& error) {
    raise("a fatal error", error.what());
  }
}

void ScenarioRun::fail(Position position, const Mismatches& mismatches) {
  std::vector<Value> rows;
  for (const auto& [place, wanted, found] : mismatches) {
    rows.push_back(Value::dictionary({{"place", place}, {"wanted", wanted}, {"found", found}}));
  }
  report("expectation", "failed",
         Value::dictionary({{"place", placeText(scenario().file, position)}, {"mismatches", Value::list(rows)}}));
  hasFailed_ = true;
  failedAt_ = position;
}

bool ScenarioRun::refuseRaised(const Step& step) {
  Mismatches mismatches;
  for (const std::string& raised : takeRaised()) mismatches.push_back({"raised", "(nothing)", raised});
  if (!mismatches.empty()) fail(step.position, mismatches);
  return !mismatches.empty();
}

std::vector<ReceivedRequest> ScenarioRun::takeRequests() {
  const std::lock_guard lock(mutex_);
  return std::exchange(requests_, {});
}

void ScenarioRun::perform(const Step& step) {
  if (step.kind->run.onPhone != nullptr) {
    step.kind->run.onPhone(*this, step.argument);
  } else {
    step.kind->run.onRun(*this, step.argument);
  }
}

void ScenarioRun::handsOver(std::string_view name, const Value& payload, bool isWhole) {
  const std::lock_guard lock(mutex_);
  warnings_.handOver(name, payload, isWhole);
}

void ScenarioRun::reportWarnings() {
  std::unique_lock lock(mutex_);
  const std::vector<Warning> warnings = warnings_.warnings();
  lock.unlock();
  for (const auto& [position, subject, problem, reason, remedy, wanted, found] : warnings) {
    if (options_.isStrict && !wanted.empty()) {
      fail(position, {{subject, wanted, found}});
    } else {
      report("scenario", "warning",
             Value::dictionary({{"place", placeText(scenario().file, position)},
                                {"problem", subject + " " + problem},
                                {"reason", reason},
                                {"remedy", remedy}}));
    }
  }
}

bool ScenarioRun::hasUntaken(std::string_view actor, std::string_view what) {
  const std::lock_guard lock(mutex_);
  return !untaken_[{std::string(actor), std::string(what)}].empty();
}

std::vector<Value> ScenarioRun::take(std::string_view actor, std::string_view what) {
  const std::lock_guard lock(mutex_);
  return std::exchange(untaken_[{std::string(actor), std::string(what)}], {});
}

}  // namespace pellion
