#include "pellion/commands/fleet_worker_command.h"

#include <unistd.h>

#include <array>
#include <charconv>
#include <chrono>
#include <memory>
#include <random>
#include <string_view>

#include "pellion/commands/fleet_output.h"
#include "pellion/commands/fleet_target.h"
#include "pellion/fleet/fleet.h"
#include "pellion/fleet/locust_worker.h"
#include "pellion/fleet/machine_limits.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/text/input_error.h"

namespace pellion {
namespace {

/// "HOST", "HOST:PORT" or "[ADDRESS]:PORT" as ZeroMQ names it.
std::string endpointOf(const std::string& master) {
  const auto wrong = [&] {
    return InputError("--master " + master + ": not a host with a port; give one such as 10.0.0.1:5557");
  };
  const std::size_t colon = master.rfind(':');
  const bool isBareAddress = master.find(':') != colon && !master.starts_with('[');
  const bool hasPort = colon != std::string::npos && !isBareAddress && !master.ends_with(']');
  const std::string host = hasPort ? master.substr(0, colon) : isBareAddress ? '[' + master + ']' : master;
  const std::string port = hasPort ? master.substr(colon + 1) : "5557";
  unsigned number = 0;
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
  const bool isNumber = error == std::errc() && end == port.data() + port.size() && number > 0 && number <= 65535;
  if (host.empty() || !isNumber || host.find_first_of("/ *") != std::string::npos) throw wrong();
  return "tcp://" + host + ':' + port;
}

/// The machine's name, for people, and a number, because a machine may have several workers.
std::string newWorkerID() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  std::random_device random;
  std::array<char, 20> number{};
  std::snprintf(number.data(), number.size(), "%08x%08x", random(), random());
  return std::string(name.data()) + "_pellion_" + number.data();
}

/// What the fleets of a worker are made of, and what is noted about them.
struct WorkerFleets {
  const FleetPlan& plan;
  const FleetArguments& arguments;
  std::size_t threads;
  std::optional<std::string> server;  ///< of the last fleet

  std::unique_ptr<Fleet> make(const std::optional<std::string>& host, std::uint64_t firstNumber) {
    server = arguments.server ? arguments.server : host && !host->empty() ? host : std::nullopt;
    if (server) checkServer(*server);
    return std::make_unique<Fleet>(
        plan, Fleet::Options{.server = server, .threads = threads, .seed = arguments.seed, .firstNumber = firstNumber});
  }
  /// An error about the master's host begins with the option that it stands for.
  void checkServer(const std::string& target) const {
    constexpr std::string_view option = "--server ";
    refuseFaults(plan, "leave them out, or give neither --server nor a host to the master");
    try {
      checkTarget(plan, target, arguments.confirmedHost);
    } catch (const InputError& error) {
      const std::string text = error.what();
      if (arguments.server || !text.starts_with(option)) throw;
      throw InputError("the master's host " + text.substr(option.size()));
    }
  }
  void checkLimits(std::size_t phones) const {
    checkMachine(threads, greatestRate(plan, phones, 0), !server, isLoopbackServer(server));
  }
};

}  // namespace

void checkWorkerArguments(const FleetArguments& arguments) {
  if (!arguments.master) return;
  const auto refuse = [](bool isGiven, const std::string& option, const std::string& why) {
    if (isGiven) throw InputError(option + ": with --master, " + why + "; leave it out");
  };
  refuse(arguments.phones.has_value(), "--phones", "the master says how many phones there are");
  refuse(arguments.rate.has_value(), "--rate", "the master says when phones start");
  refuse(arguments.duration.has_value(), "--for", "the master says when the fleet ends");
  refuse(arguments.isAudited, "--audit", "there is no audit, which needs all phones and their backend in one program");
}

int runFleetWorker(const FleetPlan& plan, const FleetArguments& arguments, std::size_t threads,
                   const Surroundings& surroundings) {
  constexpr std::chrono::milliseconds step{20};
  const std::string endpoint = endpointOf(*arguments.master);
  FleetFiles files(arguments.csv, arguments.json);
  const auto stop = std::make_shared<Stop>();  // also of a signal that comes after the end
  surroundings.stopOnSignal([stop] { stop->request(); }, &TemporaryDirectory::removeAll);
  WorkerFleets fleets{plan, arguments, threads, arguments.server};
  if (arguments.server) fleets.checkServer(*arguments.server);
  fleets.checkLimits(0);
  FleetReport report{.name = plan.name};
  const FleetTime started = std::chrono::steady_clock::now();
  const auto age = [started] { return std::chrono::steady_clock::now() - started; };
  FleetProgress progress(surroundings);
  LocustWorker worker(
      plan, {.endpoint = endpoint,
             .id = newWorkerID(),
             .makeFleet = [&fleets](const auto& host, std::uint64_t first) { return fleets.make(host, first); },
             .checkPhones = [&fleets](std::size_t phones) { fleets.checkLimits(phones); },
             .say = [&progress](const std::string& text) { progress.say(text); }});
  progress.say("waiting for the master at " + endpoint);
  while (!worker.hasEnded()) {
    worker.turn(std::chrono::steady_clock::now(), step);
    report.phones = std::max(report.phones, worker.phones());
    if (progress.isDue(age())) progress.show(worker.phones(), worker.takeFigures(), report.figures, age(), {});
    if (!report.isCutShort && stop->waitFor(std::chrono::nanoseconds(0))) {
      report.isCutShort = true;
      worker.quit();
    }
  }
  report.figures.add(worker.takeFigures());
  report.duration = age();
  report.server = fleets.server.value_or("the built-in backend");
  writeFleetReport(surroundings.out, report);
  files.write(report);
  if (!worker.isAbandoned()) return 0;
  throw InputError("--master " + *arguments.master + ": no master has answered for ten minutes; start one there: " +
                   "locust -f examples/fleet/locustfile.py --master");
}

}  // namespace pellion
