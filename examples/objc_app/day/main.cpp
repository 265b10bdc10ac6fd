// Plays a scenario on a simulated phone, silently, and then the same day with the shop in Objective-C: over a real
// Objective-C runtime, with real HTTP to the local backend, as a process of its own. Shows the second day, and ends
// with 1 when it was not the same.

#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "objc_app/day/shop_day.h"
#include "pellion/run/scenario_run.h"
#include "pellion/steps/scenario_steps.h"
#include "services/url_loading/network.h"

namespace {

constexpr char help[] =
    "Usage: objc_day [SCENARIO]\n"
    "\n"
    "Plays a scenario (by default examples/scenarios/a_day.json) with the shop in Objective-C, and says whether\n"
    "the day was the same as on the simulated phone.\n"
    "\n"
    "Ends with 0 when it was, with 1 when it was not, and with 2 when the scenario cannot be played.\n";

std::vector<PhoneEvent> dayOfPhone(const pellion::Scenario& scenario) {
  std::vector<PhoneEvent> day;
  services::Network network;
  const auto record = [&](const host::Event& event) {
    day.push_back({event.time, std::string(event.actor), std::string(event.what), event.details});
  };
  pellion::ScenarioRun run(scenario, network, {.sink = record});
  if (!run.run()) {
    throw pellion::InputError("the scenario fails on the simulated phone; see pellion run " + scenario.file);
  }
  return day;
}

}  // namespace

int main(int count, char** list) {
  const std::vector<std::string> arguments(list + 1, list + count);
  if (arguments.size() == 1 && (arguments[0] == "-h" || arguments[0] == "--help")) {
    std::cout << help;
    return 0;
  }
  if (arguments.size() > 1 || (arguments.size() == 1 && arguments[0].starts_with("-"))) {
    std::cerr << "objc_day: it takes one argument, a scenario's file, and no option but --help\n\n" << help;
    return 2;
  }
  try {
    const pellion::Scenario scenario = pellion::readScenario(arguments.empty() ? PELLION_DAY : arguments[0]);
    ShopDay day(scenario, PELLION_SHOP, std::cout, pellion::wantsColour(STDOUT_FILENO));
    return day.play(dayOfPhone(scenario)) ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 2;
  }
}
