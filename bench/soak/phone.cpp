#include "bench/soak/phone.h"

#include "bench/soak/shop.h"
#include "services/url_loading/network.h"

namespace soak {

using platform::Value;

void Outcome::receive(const host::Event& event) {
  if (event.what == "sends") ++requests;
  if (event.what == "log") ++logLines;
  if (event.what == "presents" || event.what == "fetched" || event.what == "response completed") ++answers;
  if (event.what == "opened URL" || event.what == "refused URL") ++opened;
}

void Outcome::clear() {
  requests = logLines = answers = opened = 0;
  raised.clear();
}

std::string Outcome::text() const {
  return std::to_string(requests) + " requests, " + std::to_string(logLines) + " log lines, " +
         std::to_string(answers) + " answers, " + std::to_string(opened) + " URLs, raised: " + raised;
}

SoakPhone::SoakPhone(services::Network& network, const std::string& serverURL)
    : phone_(network, {.storage = storage_.path(),
                       .urlSchemes = {.own = {"shop"}},
                       .sink = [this](const host::Event& event) { outcome_.receive(event); },
                       .listensToLog = true}) {
  phone_.configure(Value::dictionary({{"SERVER_URL", serverURL},
                                      {"PORTAL_ID", "portal-1"},
                                      {"PROJECT_ID", "project-1"},
                                      {"APP_VERSION_ID", "version-1"},
                                      {"DEVICE_ID", "device-1"},
                                      {"BEARER_TOKEN", "example-bearer-token"},
                                      {"JWT_SECRET", "example-secret"},
                                      {"APP_META", Value::dictionary({{"name", "Shop"}})},
                                      {"APP_GROUP", "group.example.shop"},
                                      {"LOG_LEVEL", "verbose"}}));
}

void SoakPhone::launch() {
  phone_.launch();
  run([] {
    host::startApplication(platform::makeObject<ShopApplication>());
    answerNotificationsAs<ShopNotifications>();
  });
}

}  // namespace soak
