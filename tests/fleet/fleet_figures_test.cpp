#include "pellion/fleet/fleet_figures.h"

#include <gmock/gmock.h>

#include "pellion/fleet/fleet_audit.h"

namespace pellion {
namespace {

using namespace testing;
using std::chrono::microseconds;

TEST(Histograms, NameTheDurationThatAShareDidNotExceed) {
  Histogram histogram;
  EXPECT_EQ(histogram.percentile(0.5), microseconds(0));
  for (int i = 1; i <= 100'000; ++i) histogram.add(microseconds(i));
  Histogram sum;
  sum.add(histogram);
  sum.add(histogram);
  for (const double share : {0.01, 0.5, 0.95, 0.99, 1.0}) {
    const double exact = share * 100'000;
    EXPECT_THAT(static_cast<double>(sum.percentile(share).count()), AllOf(Ge(exact), Le(exact * 1.04))) << share;
  }
  EXPECT_EQ(sum.count(), 200'000U);
  EXPECT_EQ(sum.greatest(), microseconds(100'000));
}

TEST(FleetFigures, TellHowRequestsEnded) {
  const std::pair<services::RequestOutcome, Ending> cases[] = {
      {{.status = 200, .isJSON = true}, Ending::accepted},   {{.status = 200}, Ending::refused},
      {{.status = 503, .isJSON = true}, Ending::refused},    {{.errorCode = -1001}, Ending::failed},
      {{.status = 200, .errorCode = -1005}, Ending::failed}, {{.isCancelled = true}, Ending::lost}};
  EndpointFigures figures;
  for (const auto& [outcome, ending] : cases) {
    EXPECT_EQ(endingOf(outcome), ending);
    figures.record(outcome);
  }
  EXPECT_THAT(figures.requests.byEnding, ElementsAre(1, 2, 2, 1));
  EXPECT_THAT(figures.refused, ElementsAre(Pair(200, 1), Pair(503, 1)));
  EXPECT_THAT(figures.failed, ElementsAre(Pair(-1005, 1), Pair(-1001, 1)));
  EXPECT_EQ(figures.both.count(), 3U) << "only of requests that were answered";
}

/// What each side knows of one entry, and whether that can be.
struct Account {
  const char* name;
  std::vector<Ending> phone;
  std::vector<int> statuses;
  std::uint64_t receivedInVain;
  bool agrees;
};

TEST(FleetAudit, FindsWhatOneSideDoesNotKnow) {
  const Account cases[] = {
      {"accepted", {Ending::accepted}, {200}, 0, true},
      {"refused", {Ending::refused}, {503}, 0, true},
      {"never arrived", {Ending::failed}, {}, 0, true},
      {"the answer was lost", {Ending::failed}, {200}, 1, true},
      {"its process ended", {Ending::lost, Ending::accepted}, {200, 200}, 1, true},
      {"two with one text", {Ending::accepted, Ending::refused}, {500, 200}, 0, true},
      {"received twice", {Ending::accepted}, {200, 200}, 0, false},
      {"received from nowhere", {}, {200}, 0, false},
      {"lost on the way", {Ending::accepted}, {}, 0, false},
      {"refused, but accepted by the phone", {Ending::accepted}, {500}, 0, false},
  };
  for (const Account& each : cases) {
    FleetAudit audit;
    for (const int status : each.statuses) {
      audit.received({.headers = {{"notificationid", "0a"}}}, {.status = status});
    }
    for (const Ending ending : each.phone) audit.ended("", {{"token", "0a"}}, ending);
    const FleetAudit::Verdict verdict = audit.verdict();
    EXPECT_EQ(verdict.differenceCount == 0, each.agrees) << each.name;
    EXPECT_EQ(verdict.receivedInVain, each.receivedInVain) << each.name;
    EXPECT_EQ(verdict.sent, each.phone.size()) << each.name;
    EXPECT_EQ(verdict.received, each.statuses.size()) << each.name;
  }
}

}  // namespace
}  // namespace pellion
