#include "pellion/commands/lab_command.h"

#include <CLI/CLI.hpp>
#include <optional>

#include "pellion/lab_server/browser.h"
#include "pellion/lab_server/lab_server.h"

namespace pellion {

void defineLab(CLI::App& app, LabArguments& arguments) {
  CLI::App& command = *app.add_subcommand("lab", "Serve a page with a phone on it: push, tap, watch, keep a scenario");
  command.add_option("--port", arguments.port, "Port on loopback; any free one if it is left out")
      ->check(CLI::Range(0, 65535))
      ->type_name("PORT");
  command.add_flag("--open", arguments.opens, "Open the page in the browser");
  command.footer("Example: pellion lab --open");
}

void runLab(const LabArguments& arguments, const Surroundings& surroundings) {
  if (builtInLabPage().empty()) {
    throw InputError("this build of pellion has no page; install nodejs and npm, then build it with ./run lab");
  }
  std::optional<LabServer> server;
  std::optional<Browser> browser;
  surroundings.runUntilEnd([&] {
    server.emplace(LabServer::Options{.port = arguments.port});
    surroundings.out << "The lab is at " << server->address() << " (Ctrl-C ends it)\n" << std::flush;
    if (arguments.opens) browser.emplace(server->address(), surroundings.err);
  });
  browser.reset();
  server.reset();
}

}  // namespace pellion
