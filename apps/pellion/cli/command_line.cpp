#include "pellion/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <thread>

#include "pellion/cli/scenario_schema.h"
#include "pellion/commands/backend_command.h"
#include "pellion/commands/explain_command.h"
#include "pellion/commands/fleet_command.h"
#include "pellion/commands/lab_command.h"
#include "pellion/commands/new_command.h"
#include "pellion/commands/test_command.h"
#include "pellion/run/scenario_run.h"
#include "pellion/run/server_probe.h"
#include "pellion/steps/scenario_expectation.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/suite/suite_reporter.h"
#include "pellion/text/input_file.h"
#include "pellion/text/redaction.h"
#include "pellion/text/similar_name.h"
#include "pellion/text/text_width.h"
#include "pellion/timeline/timeline.h"
#include "pellion/timeline/trace.h"
#include "services/url_loading/network.h"

namespace pellion {
namespace {

constexpr int passed = 0;
constexpr int expectationFailed = 1;
constexpr int inputUnusable = 2;

constexpr int mostJobs = 256;

struct RunArguments {
  std::vector<std::string> scenarios;
  std::optional<std::string> server;
  std::optional<std::string> trace;
  bool inRealTime = false;
  bool withLog = false;
  bool isStrict = false;
};

/// Null if none is asked for. Shared with the signal.
std::shared_ptr<Trace> makeTrace(const RunArguments& arguments, const std::vector<Scenario>& scenarios,
                                 const Surroundings& surroundings) {
  if (!arguments.trace) return nullptr;
  if (arguments.trace == "-") return std::make_shared<Trace>(surroundings.out);
  for (const Scenario& scenario : scenarios) {
    refuseToOverwrite(scenario.file, "--trace", *arguments.trace);
    for (const NamedFile& named : scenario.files) refuseToOverwrite(named.path, "--trace", *arguments.trace);
  }
  return std::make_shared<Trace>(*arguments.trace);
}

int run(const RunArguments& arguments, const Surroundings& surroundings) {
  // Reads everything before anything runs, so that an error in the last scenario shows at once.
  std::vector<Scenario> scenarios;
  refuseStandardInputTwice(arguments.scenarios);
  for (const std::string& file : arguments.scenarios) scenarios.push_back(readScenario(file));
  if (arguments.server) {
    for (const Scenario& scenario : scenarios) refuseBackendSteps(scenario);
    checkServer(*arguments.server, scenarios);
  }
  const std::shared_ptr<Trace> trace = makeTrace(arguments, scenarios, surroundings);
  const bool tracesToOutput = arguments.trace == "-";
  std::ostream& out = tracesToOutput ? surroundings.err : surroundings.out;  // for people
  Timeline timeline(out, {.inColour = surroundings.inColour && !tracesToOutput,
                          .withLog = arguments.withLog,
                          .abridges = true,
                          .withNetwork = arguments.server.has_value()});
  const auto show = [&](const host::Event& event) {
    if (trace) (*trace)(event);
    timeline(event);
  };

  surroundings.cleanUpOnSignal([trace] {
    if (trace) trace->stop();
    TemporaryDirectory::removeAll();
  });
  services::Network network;
  std::size_t passedCount = 0;
  for (const Scenario& scenario : scenarios) {
    ScenarioRun scenarioRun(
        scenario, network,
        {.server = arguments.server,
         .clock = arguments.inRealTime ? host::Clock::Kind::realTime : host::Clock::Kind::virtualTime,
         .sink = show,
         .isStrict = arguments.isStrict});
    if (scenarioRun.run()) ++passedCount;
  }
  if (trace) trace->close();
  if (scenarios.size() > 1) {
    out << passedCount << " of " << scenarios.size() << " scenarios passed\n";
  }
  return passedCount == scenarios.size() ? passed : expectationFailed;
}

void defineRun(CLI::App& app, RunArguments& arguments) {
  CLI::App& command = *app.add_subcommand("run", "Run scenarios and show what happens, step by step");
  command.add_option("SCENARIO", arguments.scenarios, "JSON documents, - for standard input; docs/scenario.md")
      ->required();
  command.add_option("--server", arguments.server, "Send to the server at this URL instead of the built-in backend")
      ->type_name("URL");
  command.add_flag("--realtime", arguments.inRealTime, "Let time pass by itself instead of at once");
  command.add_flag("--log", arguments.withLog, "Show the module's log lines too");
  command.add_flag("--strict", arguments.isStrict,
                   "Fail also for a notification that is not counted, and a request that gets no accepted answer");
  command
      .add_option("--trace", arguments.trace,
                  "Write every event as a line of JSON to this file, - for standard output; then the "
                  "timeline goes to standard error")
      ->type_name("FILE");
  command.footer("Example: pellion run examples/scenarios/a_day.json --log");
}

int test(const TestArguments& arguments, const Surroundings& surroundings) {
  const SuiteCounts counts = runTests(arguments, surroundings);
  if (counts.unusable > 0) return inputUnusable;
  return counts.failed > 0 ? expectationFailed : passed;
}

/// Accepts one of the names; the error suggests the one that was probably meant.
CLI::Validator oneOf(std::vector<std::string> names) {
  return {[names = std::move(names)](const std::string& name) -> std::string {
            if (std::ranges::find(names, name) != names.end()) return {};
            return "there is no " + name + "; " + remedyForName(name, {names.begin(), names.end()}, "it is one of", "");
          },
          ""};
}

void defineTest(CLI::App& app, TestArguments& arguments) {
  CLI::App& command = *app.add_subcommand("test", "Run all scenarios below paths side by side, show what did not pass");
  command.add_option("PATH", arguments.paths, "Scenarios, or directories of them; else the current directory");
  command.add_option("--filter", arguments.filter, "Only those with this text in path or name, in any case")
      ->type_name("TEXT");
  command.add_flag("--list", arguments.suite.onlyReads, "Show path and name of each, but run none");
  command.add_flag("--fail-fast", arguments.suite.failsFast,
                   "Start no more scenarios after the first that does not pass");
  command.add_flag("--watch", arguments.watches, "Then run again what changes, until a signal ends it");
  command.add_flag("--verbose", arguments.isVerbose, "Show the whole timelines of those that failed");
  command.add_option("--reporter", arguments.format, "Write results as text, tap or github")
      ->check(oneOf({suiteFormats.begin(), suiteFormats.end()}))
      ->type_name("FORMAT");
  command.add_option("--junit", arguments.junit, "Write a report as JUnit's XML to this file")->type_name("FILE");
  command.add_option("--server", arguments.suite.server, "Send to the server at this URL instead of built-in backends")
      ->type_name("URL");
  command.add_option("--jobs", arguments.suite.jobs, "How many to run at once; else as many as there are cores")
      ->check(CLI::Range(1, mostJobs))
      ->type_name("N");
  command.add_flag("!--no-strict", arguments.suite.isStrict,
                   "Pass in spite of a notification that is not counted, or a request that gets no accepted answer");
  command.footer("Example: pellion test examples/scenarios --filter sale --junit report.xml");
}

void defineExplain(CLI::App& app, ExplainArguments& arguments) {
  CLI::App& command =
      *app.add_subcommand("explain", "Find mistakes in push payloads, and show what a payload leads to");
  command.add_option("PAYLOAD", arguments.paths,
                     "JSON files as the platform delivers them, or directories of them; - or none: standard input");
  command
      .add_option("--configuration", arguments.configuration,
                  "Judge this configuration too: JSON, a scenario or a property list")
      ->type_name("FILE");
  command.add_option("--scheme", arguments.urlSchemes, "A URL scheme that the application declares; repeatable")
      ->type_name("NAME")
      ->expected(1);
  command.add_option("--action", arguments.action, "Only this response: tap, dismiss or a button's identifier")
      ->type_name("ID");
  command.add_flag("--all", arguments.withAccount, "Show the full account of everything that can happen");
  CLI::Option* format = command.add_option("--format", arguments.format, "text, json, junit or sarif")
                            ->check(oneOf({"text", "json", "junit", "sarif"}))
                            ->type_name("FORMAT");
  command
      .add_flag("--fix", arguments.fixes, "Write the corrected payload instead; what is left goes to standard error")
      ->excludes(format);
  command.add_flag("--voip", arguments.isVoIP, "These are VoIP pushes, which may have 5120 bytes");
  command.footer(
      "Exit status: 0 no errors found (warnings may be), 1 errors found, 2 input that cannot be used.\n"
      "Example: pellion explain examples/payloads/sale.json --scheme shop");
}

void defineNew(CLI::App& app, NewArguments& arguments) {
  CLI::App& command = *app.add_subcommand("new", "Write a scenario that passes, to be changed");
  command
      .add_option("NAME", arguments.name,
                  "The file to write, - for standard output; .json is added where it is missing")
      ->required();
  command
      .add_option("--from", arguments.payload,
                  "Make it of the payload in this file, - for standard input, instead of an example")
      ->type_name("PAYLOAD");
  command.add_flag("--force", arguments.overwrites, "Replace the file if it exists");
  command.footer("Example: pellion new sale --from examples/payloads/sale.json");
}

int runNew(const NewArguments& arguments, const Surroundings& surroundings) {
  writeNewScenario(arguments, surroundings);
  return passed;
}

int printSchema(const Surroundings& surroundings) {
  surroundings.out << scenarioSchema;
  return passed;
}

void defineSchema(CLI::App& app) {
  app.add_subcommand("schema", "Print the JSON Schema of scenarios, for editors")
      ->footer("Example: pellion schema > scenario.schema.json");
}

std::string firstExtra(const CLI::App& app) {
  const std::vector<std::string> extras = app.remaining(true);
  return extras.empty() ? std::string() : extras.front();
}

/// The commands, or the options of the chosen one, where one of these may have been meant.
std::string remedyForArgument(const CLI::App& app, const std::string& argument) {
  const std::vector<CLI::App*> chosen = app.get_subcommands();
  std::vector<std::string> names;
  if (argument.starts_with('-')) {
    for (const CLI::Option* option : (chosen.empty() ? app : *chosen.front()).get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  } else if (chosen.empty()) {
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
      names.push_back(command->get_name());
    }
  }
  if (names.empty()) return "";
  return "; " + remedyForName(argument, {names.begin(), names.end()},
                              argument.starts_with('-') ? "the options are" : "the commands are", "");
}

std::string hint(const CLI::App& app) {
  const std::vector<CLI::App*> chosen = app.get_subcommands();
  return "; pellion " + (chosen.empty() ? "" : chosen.front()->get_name() + ' ') + "--help shows how it is called";
}

int parseAndRun(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
  CLI::App app("Shows what the push-notification module does, on a simulated phone with a local backend.", "pellion");
  app.set_version_flag("--version", "pellion " PELLION_VERSION);
  app.require_subcommand(0, 1);
  app.footer(
      "Examples:\n  pellion run examples/scenarios/a_day.json\n  pellion test examples/scenarios\n"
      "  pellion new sale --from examples/payloads/sale.json\n"
      "  pellion explain examples/payloads/sale.json\n  pellion backend --port 8080\n"
      "  pellion fleet examples/fleet/morning.json\n  pellion lab --open\n\n"
      "Exit status: 0 as expected, 1 an expectation failed or a payload has errors, 2 input that cannot be used.");
  RunArguments runArguments;
  TestArguments testArguments;
  testArguments.suite.jobs = std::max(1U, std::thread::hardware_concurrency());
  BackendArguments backendArguments;
  FleetArguments fleetArguments;
  LabArguments labArguments;
  ExplainArguments explainArguments;
  NewArguments newArguments;
  defineNew(app, newArguments);
  defineRun(app, runArguments);
  defineTest(app, testArguments);
  defineExplain(app, explainArguments);
  defineBackend(app, backendArguments);
  defineFleet(app, fleetArguments);
  defineLab(app, labArguments);
  defineSchema(app);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // the parser takes the last one first
    if (app.got_subcommand("new")) return runNew(newArguments, surroundings);
    if (app.got_subcommand("schema")) return printSchema(surroundings);
    if (app.got_subcommand("run")) return run(runArguments, surroundings);
    if (app.got_subcommand("test")) return test(testArguments, surroundings);
    if (app.got_subcommand("fleet")) return runFleet(fleetArguments, surroundings);
    if (app.got_subcommand("explain")) return runExplain(explainArguments, surroundings);
    if (app.got_subcommand("lab")) {
      runLab(labArguments, surroundings);
      return passed;
    }
    if (app.got_subcommand("backend")) {
      runBackend(backendArguments, surroundings);
      return passed;
    }
    throw InputError("no command is given" + remedyForArgument(app, "") + hint(app));
  } catch (const CLI::Success& request) {  // --help, --version
    return app.exit(request, surroundings.out, surroundings.err);
  } catch (const CLI::ExtrasError&) {
    // Shows only the first argument, up to its name: the others may be secrets.
    const std::string extra = firstExtra(app);
    const std::string name = extra.substr(0, extra.find('='));
    throw InputError("not expected: " + name + remedyForArgument(app, name) + hint(app));
  } catch (const CLI::ParseError& error) {
    throw InputError(error.what() + hint(app));
  }
}

}  // namespace

int runCommandLine(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
  try {
    const int status = parseAndRun(arguments, surroundings);
    if (surroundings.out.flush()) return status;
    throw InputError("not all of the output could be written; is the disk full, or has its reader gone?");
  } catch (const std::exception& error) {  // usually an InputError
    surroundings.err << "pellion: " << withWrappedNames(printable(withoutUserInfo(error.what()))) << '\n';
    return inputUnusable;
  }
}

}  // namespace pellion
