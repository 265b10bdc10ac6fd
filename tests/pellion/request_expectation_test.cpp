#include "pellion/request_expectation.h"

#include <gtest/gtest.h>

#include "pellion/json_reader.h"

namespace pellion {
namespace {

std::string mismatchesOf(const std::string& wantedBody, const std::optional<DecodedBody>& found) {
  ReceivedRequest request;
  request.decodedBody = found;
  Mismatches mismatches;
  expectRequests(readJSON("w", "[{\"body\": " + wantedBody + "}]"), {request}, mismatches);
  std::string text;
  for (const Mismatch& mismatch : mismatches) {
    text += mismatch.place + ": " + mismatch.wanted + " / " + mismatch.found + "\n";
  }
  return text;
}

TEST(RequestExpectation, WantsOfABodyWhatIsNamed) {
  const std::string json = R"({"meta": {"os": "x", "v": 1.0}, "pnstats": [{"status": 4, "id": "7"}]})";
  const DecodedBody body{
      .steps = {{"JWT, HS256, signature verified"}}, .content = json, .json = readJSON("f", json).value};
  const DecodedBody unsignedBody{.steps = {{"the signature does not match", true}}, .content = json, .json = body.json};
  const std::pair<std::string, const char*> cases[] = {
      {json, ""},
      {"{}", ""},
      {R"({"pnstats": [{"status": 4}]})", ""},
      {R"({"meta": {"v": 1}})", ""},
      {R"({"meta": {"v": "1"}})", "request 1, body.meta.v: \"1\" / 1.0\n"},
      {R"({"pnstats": [{"status": 5, "action": "a"}]})",
       "request 1, body.pnstats[0].status: 5 / 4\nrequest 1, body.pnstats[0].action: \"a\" / (absent)\n"},
      {R"({"pnstats": []})", "request 1, body.pnstats: [] / [{\"status\":4,\"id\":\"7\"}]\n"},
      {R"({"meta": null})", "request 1, body.meta: null / {\"os\":\"x\",\"v\":1.0}\n"},
      {"[]", "request 1, body: [] / {\"meta\":{\"os\":\"x\",\"v\":1.0},\"pnstats\":[{\"status\":4,\"id\":\"7\"}]}\n"},
  };
  for (const auto& [wanted, mismatches] : cases) EXPECT_EQ(mismatchesOf(wanted, body), mismatches);
  EXPECT_EQ(mismatchesOf("{}", unsignedBody),
            "request 1, body: every layer opened and verified / the signature does not match\n");
  EXPECT_EQ(mismatchesOf("null", std::nullopt), "");
  EXPECT_EQ(mismatchesOf("null", body), "request 1, body: (no body) / " + json + "\n");
  EXPECT_EQ(mismatchesOf("\"text\"", body), "request 1, body: text / " + json + "\n");
  EXPECT_EQ(mismatchesOf("{}", DecodedBody{.steps = {}, .content = "x", .json = {}}), "request 1, body: {} / x\n");
}

}  // namespace
}  // namespace pellion
