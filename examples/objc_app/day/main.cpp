// Plays a scenario on a simulated phone, silently, and then the same day with the shop in Objective-C: over a real
// Objective-C runtime, with real HTTP to the local backend, as a process of its own. Shows the second day, and ends
// with 1 when it was not the same.
//
//   objc_day [SCENARIO]    by default examples/scenarios/a_day.json

#include <unistd.h>

#include <exception>
#include <iostream>
#include <vector>

#include "objc_app/day/shop_day.h"
#include "pellion/run/scenario_run.h"
#include "pellion/steps/scenario_steps.h"
#include "services/http/network.h"

namespace {

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

int main(int count, char** arguments) {
  try {
    const pellion::Scenario scenario = pellion::readScenario(count > 1 ? arguments[1] : PELLION_DAY);
    ShopDay day(scenario, PELLION_SHOP, std::cout, pellion::wantsColour(STDOUT_FILENO));
    return day.play(dayOfPhone(scenario)) ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 2;
  }
}
