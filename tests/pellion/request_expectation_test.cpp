#include "pellion/steps/request_expectation.h"

#include <gmock/gmock.h>

#include "pellion/text/json_reader.h"
#include "pellion/text/json_writer.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using platform::Value;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> mismatchesOf(const Value& wantedBody, const std::optional<DecodedBody>& found) {
  ReceivedRequest request;
  request.decodedBody = found;
  Mismatches mismatches;
  expectRequests(readJSON("w", "[{\"body\": " + compactJSON(wantedBody) + "}]"), {request}, mismatches);
  std::vector<std::string> texts;
  for (const auto& [place, wanted, text] : mismatches) texts.push_back(place + ": " + wanted + " / " + text);
  return texts;
}

TEST(RequestExpectation, ComparesOnlyTheNamedPartsOfABody) {
  const Value cases = test::caseJSON("pellion/cases/bodies.json");
  const Value& json = test::at(cases, "body");
  const DecodedBody body{.steps = {{"JWT, HS256, signature verified"}}, .content = compactJSON(json), .json = json};
  for (const Value& row : test::elements(test::at(cases, "cases"))) {
    EXPECT_EQ(mismatchesOf(test::at(row, "wanted"), body), test::textsAt(row, "mismatches")) << compactJSON(row);
  }
  const Value empty = Value::dictionary({});
  DecodedBody unsignedBody = body;
  unsignedBody.steps = {{"the signature does not match", true}};
  EXPECT_THAT(mismatchesOf(empty, unsignedBody),
              ElementsAre("request 1, body: every layer opened and verified / the signature does not match"));
  EXPECT_THAT(mismatchesOf(nullptr, std::nullopt), IsEmpty());
  EXPECT_THAT(mismatchesOf(empty, DecodedBody{.steps = {}, .content = "x", .json = {}}),
              ElementsAre("request 1, body: {} / x"));
}

}  // namespace
}  // namespace pellion
