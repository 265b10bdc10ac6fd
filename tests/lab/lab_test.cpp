#include "pellion/lab/lab.h"

#include <gmock/gmock.h>

#include "pellion/lab_server/lab_events.h"
#include "pellion/lab_server/lab_routes.h"
#include "pellion/steps/scenario_steps.h"
#include "pellion/text/json_reader.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

TEST(Lab, EndsThePhonesThatNoPageUses) {
  Lab lab;
  const std::string unused = lab.open(R"({"steps": []})", std::nullopt);
  const std::string used = lab.open(R"({"steps": []})", std::nullopt);
  lab.closeIdle(lab.phone(unused)->lastUse() + Lab::longestIdle);
  const std::shared_ptr<LabPhone> ended = lab.phone(unused);
  ASSERT_NE(ended, nullptr);
  lab.phone(used)->noteUse();
  lab.closeIdle(ended->lastUse() + Lab::longestIdle + std::chrono::nanoseconds(1));
  EXPECT_EQ(lab.phone(unused), nullptr);
  EXPECT_NE(lab.phone(used), nullptr);
  EXPECT_FALSE(ended->messages().after(1'000'000, 1, std::chrono::hours(1))) << "its page is not left waiting";
  EXPECT_FALSE(lab.close(unused));
}

TEST(Lab, MakesRoomForAPageInPlaceOfTheLongestUnusedPhone) {
  Lab lab;
  const auto open = [&](auto... now) { return lab.open(R"({"steps": []})", std::nullopt, now...); };
  const std::string first = open();
  const std::string second = open();
  lab.phone(first)->noteUse();
  while (true) {
    try {
      open();
    } catch (const Lab::TooManyPhones&) {
      break;
    }
  }
  const auto last = lab.phone(second)->lastUse();
  EXPECT_THROW(open(last + Lab::longestIdleWhenFull - std::chrono::nanoseconds(1)), Lab::TooManyPhones);
  open(last + Lab::longestIdleWhenFull);
  EXPECT_EQ(lab.phone(second), nullptr);
  EXPECT_NE(lab.phone(first), nullptr);
}

TEST(Lab, TakesRequestsAndOpenStreamsForUses) {
  LabRoutes routes({});
  const std::string id = routes.lab().open(R"({"steps": []})", std::nullopt);
  const std::shared_ptr<LabPhone> phone = routes.lab().phone(id);
  const auto opened = phone->lastUse();
  EXPECT_EQ(routes.reply({.method = "GET", .path = "/api/phones/" + id + "/scenario"}).status, 409U);
  const auto asked = phone->lastUse();
  EXPECT_GT(asked, opened);
  const std::atomic<bool> isEnding = false;
  LabEvents events(phone, 1'000'000, std::chrono::milliseconds(0), isEnding);
  char heartbeat[64];
  EXPECT_GT(events.read(heartbeat, sizeof heartbeat), 0U);
  EXPECT_GT(events.read(heartbeat, sizeof heartbeat), 0U);
  EXPECT_GT(phone->lastUse(), asked);
}

using platform::Value;

TEST(LabState, ShowsTheLastNotificationsAndURLs) {
  LabState state(readScenario("scenario", R"({"steps": ["launch"]})"));
  const auto at = [&](std::string_view name) { return *Value::dictionary(state.entries()).find(name); };
  for (int i = 0; i < 60; ++i) {
    const std::string name = "n" + std::to_string(i / 2);
    state.observe({{}, "platform", "delivered", Value::dictionary({{"notification", name}, {"in", "foreground"}})});
    state.observe({{}, "platform", "opened URL", Value::dictionary({{"url", name}})});
  }
  EXPECT_EQ(at("notifications").elements().size(), 50U);
  EXPECT_EQ(at("opened").elements().size(), 20U);
  state.observe({{}, "user", "responded", Value::dictionary({{"notification", "n29"}, {"with", "dismiss"}})});
  EXPECT_EQ(at("notifications").elements().size(), 49U) << "one of the two";
  EXPECT_EQ(*at("notifications").elements().front().find("name"), Value("n29"));
}

TEST(LabState, ShowsHowTheBackendAnswersNow) {
  LabState state(readScenario("scenario", R"({"steps": ["launch"]})"));
  const std::pair<const char*, const char*> events[] = {{R"({"status":503})", R"({"status":503})"},
                                                        {R"({"status":500,"times":2})", R"({"status":500,"times":2})"},
                                                        {R"({"status":404,"times":1})", R"({"status":500,"times":2})"},
                                                        {"", R"({"status":500,"times":1})"},
                                                        {"", R"({"status":404,"times":1})"},
                                                        {"", R"({"status":503})"},
                                                        {R"({"connection":"refused"})", R"({"connection":"refused"})"},
                                                        {R"({"status":401,"times":1})", R"({"status":401,"times":1})"},
                                                        {"{}", "{}"},
                                                        {"", "{}"}};
  for (const auto& [step, shown] : events) {
    const bool isAnswer = *step == '\0';
    state.observe({{}, "backend", isAnswer ? "answer" : "configured", readJSON("step", isAnswer ? "{}" : step).value});
    EXPECT_EQ(compactJSON(*Value::dictionary(state.entries()).find("backend")), shown);
  }
}

}  // namespace
}  // namespace pellion
