#include "pellion/commands/fleet_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <limits>
#include <ostream>
#include <thread>

#include "pellion/commands/fleet_output.h"
#include "pellion/commands/fleet_target.h"
#include "pellion/commands/fleet_worker_command.h"
#include "pellion/fleet/fleet.h"
#include "pellion/fleet/fleet_report.h"
#include "pellion/fleet/machine_limits.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/text/input_error.h"

namespace pellion {
namespace {

using std::chrono::nanoseconds;

/// The number at the beginning, and what follows it.
std::pair<double, std::string_view> numberAndUnit(std::string_view text) {
  double number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return {-1, {}};
  std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
  while (unit.starts_with(' ')) unit.remove_prefix(1);
  return {number, unit};
}

double rateOf(const std::string& text) {
  const auto [number, unit] = numberAndUnit(text);
  if (number > 0 && (unit.empty() || unit == "/s")) return number;
  throw InputError("--rate " + text + ": not a number of phones a second; give one such as 200/s");
}

nanoseconds durationOfText(const std::string& text) {
  constexpr std::pair<std::string_view, double> units[] = {{"", 1}, {"s", 1}, {"min", 60}, {"m", 60}, {"h", 3600}};
  const auto [number, unit] = numberAndUnit(text);
  const auto known = std::ranges::find(units, unit, &std::pair<std::string_view, double>::first);
  constexpr double tenYears = 10 * 366 * 86'400.0;
  if (number > 0 && known != std::end(units) && number * known->second <= tenYears) {
    return std::chrono::duration_cast<nanoseconds>(std::chrono::duration<double>(number * known->second));
  }
  throw InputError("--for " + text + ": not a duration; give seconds, or a number with s, min or h, such as 5min");
}

void warnOfWhatComesTooLate(const FleetPlan& plan, const Surroundings& surroundings) {
  const auto warn = [&](const std::string& what, nanoseconds at) {
    if (at < plan.duration) return;
    surroundings.err << "pellion: " << what << " begins " << std::chrono::duration<double>(at).count()
                     << " s after the start, when the fleet has ended; give a longer --for\n";
  };
  for (const FleetWave& wave : plan.waves) warn("the wave \"" + printable(wave.name) + '"', wave.at);
  for (const FleetFault& fault : plan.faults) warn("a fault of the backend", fault.at);
  const double started = plan.rate * std::chrono::duration<double>(plan.duration).count() + 1;
  if (started >= static_cast<double>(plan.phones)) return;
  surroundings.err << "pellion: " << plan.rate << " phones start in a second, so that the fleet ends with "
                   << static_cast<std::size_t>(started) << " of its " << plan.phones
                   << "; give a greater --rate, or a longer --for\n";
}

void refuseContradictions(const FleetArguments& arguments, const FleetPlan& plan) {
  if (arguments.isAudited && arguments.server) {
    throw InputError("--audit compares with the built-in backend; leave out --server");
  }
  if (arguments.csv && arguments.csv == arguments.json) {
    throw InputError("--csv and --json name one file; give each a file of its own");
  }
  if (arguments.confirmedHost && !arguments.server && !arguments.master) {
    throw InputError("--yes-this-is-my-server belongs to --server; give the server's URL");
  }
  const auto isRaw = [](const FleetFault& fault) { return fault.answer.raw.has_value(); };
  if (arguments.isAudited && std::ranges::any_of(plan.faults, isRaw)) {
    throw InputError(plan.file + ": --audit cannot judge a \"raw\" answer; leave out one of them");
  }
  checkWorkerArguments(arguments);
}

/// Plays the plan to its end, or until the signal.
FleetReport play(const FleetPlan& plan, const Fleet::Options& options, const Surroundings& surroundings) {
  constexpr std::chrono::milliseconds step{20};
  constexpr std::chrono::seconds settling{10};
  const auto stop = std::make_shared<Stop>();  // also of a signal that comes after the end
  surroundings.stopOnSignal([stop] { stop->request(); }, &TemporaryDirectory::removeAll);
  Fleet fleet(plan, options);
  FleetReport report{.name = plan.name, .server = options.server.value_or("the built-in backend")};
  {
    FleetProgress progress(surroundings);
    while (fleet.age() < plan.duration && !report.isCutShort) {
      const double due = plan.rate * std::chrono::duration<double>(fleet.age()).count() + 1;
      const std::size_t wanted = due < static_cast<double>(plan.phones) ? static_cast<std::size_t>(due) : plan.phones;
      while (fleet.phones() < wanted) fleet.startNext();
      fleet.tick();
      if (progress.isDue(fleet.age())) {
        const nanoseconds now = fleet.age();
        progress.show(fleet.phones(), fleet.takeFigures(), report.figures, now, plan.duration - now);
      }
      report.isCutShort =
          stop->waitFor(std::min<nanoseconds>(step, std::max(plan.duration - fleet.age(), nanoseconds(1))));
    }
  }
  if (report.isCutShort) {
    surroundings.err << "Ending: waiting for the answers to requests in flight; Ctrl-C again ends at once.\n"
                     << std::flush;
  }
  report.phones = fleet.phones();
  fleet.settle(settling);
  report.duration = fleet.age();
  fleet.end();
  report.figures.add(fleet.takeFigures());
  report.audit = fleet.verdict();
  return report;
}

}  // namespace

void defineFleet(CLI::App& app, FleetArguments& arguments) {
  CLI::App& command = *app.add_subcommand("fleet", "Play many phones against a backend, as a plan says, in real time");
  command.add_option("PLAN", arguments.plan, "A JSON document, - for standard input; docs/fleet.md")->required();
  command
      .add_option("--server", arguments.server, "Send to this server, http or https; without it, to a built-in backend")
      ->type_name("URL");
  command.add_option("--phones", arguments.phones, "So many phones, in place of the plan's number")
      ->check(CLI::Range(1, 10'000'000))
      ->type_name("N");
  command.add_option("--rate", arguments.rate, "So many phones start in a second, in place of the plan's number")
      ->type_name("N/s");
  command.add_option("--for", arguments.duration, "End after this time, such as 90s, 5min or 1h")->type_name("TIME");
  command.add_option("--seed", arguments.seed, "Another number leads to other kinds, times and choices")
      ->check(CLI::Range(0, std::numeric_limits<int>::max()))
      ->type_name("N");
  command
      .add_option("--threads", arguments.threads,
                  "Spread the phones over so many threads; one for each core if left out")
      ->check(CLI::Range(1, 256))
      ->type_name("N");
  command.add_flag("--audit", arguments.isAudited,
                   "Compare each token and entry with what the built-in backend received");
  command.add_option("--csv", arguments.csv, "Write the figures by endpoint into this file")->type_name("FILE");
  command.add_option("--json", arguments.json, "Write all figures into this file")->type_name("FILE");
  command.add_flag("--check", arguments.onlyReads, "Read the plan and its lives, and start nothing");
  command.add_option("--yes-this-is-my-server", arguments.confirmedHost, "Needed for a server that is not on loopback")
      ->type_name("HOST");
  command
      .add_option("--master", arguments.master,
                  "Play phones as a worker of Locust's master there, HOST or HOST:PORT; docs/fleet-master.md")
      ->type_name("HOST");
  command.footer("Example: pellion fleet examples/fleet/morning.json --phones 2000 --for 60s");
}

int runFleet(const FleetArguments& arguments, const Surroundings& surroundings) {
  FleetPlan plan = readFleetPlan(arguments.plan);
  if (arguments.phones) plan.phones = *arguments.phones;
  if (arguments.rate) plan.rate = rateOf(*arguments.rate);
  if (arguments.duration) plan.duration = durationOfText(*arguments.duration);
  refuseContradictions(arguments, plan);
  if (arguments.server) refuseFaults(plan, "leave out --server, or the faults");
  if (arguments.onlyReads) {
    surroundings.out << plan.name << ": " << plan.kinds.size() << " kinds, " << plan.waves.size() << " waves, "
                     << plan.faults.size() << " faults\n";
    return 0;
  }
  const std::size_t threads =
      arguments.threads > 0 ? arguments.threads : std::max(1U, std::thread::hardware_concurrency());
  if (arguments.master) return runFleetWorker(plan, arguments, threads, surroundings);
  if (arguments.server) checkTarget(plan, *arguments.server, arguments.confirmedHost);
  const std::size_t sources = checkMachine(threads, greatestRate(plan, plan.phones, plan.rate), !arguments.server,
                                           isLoopbackServer(arguments.server));
  warnOfWhatComesTooLate(plan, surroundings);
  FleetFiles files(arguments.csv, arguments.json);
  const FleetReport report = play(plan,
                                  {.server = arguments.server,
                                   .threads = threads,
                                   .seed = arguments.seed,
                                   .sources = sources,
                                   .isAudited = arguments.isAudited},
                                  surroundings);
  writeFleetReport(surroundings.out, report);
  files.write(report);
  return report.audit && report.audit->differenceCount > 0 ? 1 : 0;
}

}  // namespace pellion
