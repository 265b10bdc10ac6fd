#include "pellion/backend/jwt_reader.h"

#include <gmock/gmock.h>

#include "pellion/text/json_writer.h"
#include "services/gzip.h"
#include "services/jwt.h"
#include "tests/support/bytes.h"

namespace pellion {
namespace {

using platform::Value;
using test::bytesOf;

std::string signedBy(const char* secret, std::string_view payload, const char* header = R"({"alg":"HS256"})") {
  return services::signedJWT(header, bytesOf(payload), secret).value();
}
std::string gzipped(std::string_view text) {
  const auto packed = services::gzip(bytesOf(text), 1.0F);
  return {reinterpret_cast<const char*>(packed->bytes().data()), packed->bytes().size()};
}

TEST(JWTReader, VerifiesTheExampleOfRFC7515) {
  const auto key =
      base64URLDecoded("AyM1SysPpbyDfgZld3umj1qzKObwVMkoqQ-EstJQLr_T-1qS0gZH75aKtMN3Yj0iPS4hcgUuTwjAzZr1Z9CAow");
  const DecodedBody body = decodeBody(
      "eyJ0eXAiOiJKV1QiLA0KICJhbGciOiJIUzI1NiJ9."
      "eyJpc3MiOiJqb2UiLA0KICJleHAiOjEzMDA4MTkzODAsDQogImh0dHA6Ly9leGFtcGxlLmNvbS9pc19yb290Ijp0cnVlfQ."
      "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk",
      key);
  ASSERT_EQ(body.steps.size(), 1U);
  EXPECT_FALSE(body.steps[0].failed) << body.steps[0].text;
  EXPECT_EQ(compactJSON(*body.json), R"({"iss":"joe","exp":1300819380,"http://example.com/is_root":true})");
}

TEST(JWTReader, OpensLayerByLayerAndReportsWhichDidNotOpen) {
  const std::string json = R"({"a":[1]})";
  const std::string packed = gzipped(json);
  std::string damaged = packed;
  damaged[12] = static_cast<char>(~damaged[12]);
  std::string boastful = packed;
  boastful.back() = '\x7f';
  std::string modest = packed;
  --modest[modest.size() - 4];
  struct Case {
    std::string body;
    const char* steps;  // a failed one with "!" before it
    bool isOpened;      // else a last step says that the content is not JSON
  };
  const Case cases[] = {
      {signedBy("s", json), "JWT, HS256, signature verified", true},
      {signedBy("s", packed), "JWT, HS256, signature verified|gzip, 32 to 9 bytes", true},
      {signedBy("t", json), "!JWT, HS256; the signature does not match the secret", true},
      {signedBy("s", json, R"({"alg":"none"})"), "!JWT signed with none; the backend verifies only HS256", true},
      {signedBy("s", json, "{}"), "!JWT signed with no \"alg\"; the backend verifies only HS256", true},
      {signedBy("s", json, "?"), "!not a JWT: its header is not JSON in base64url", false},
      {signedBy("s", json) + "*", "!not a JWT: its signature is not base64url", false},
      {json, "!not a JWT: it does not have three parts with dots between them", true},
      {signedBy("s", damaged), "JWT, HS256, signature verified|!gzip is damaged or truncated", false},
      {signedBy("s", "\x1f\x8b"), "JWT, HS256, signature verified|!gzip is damaged or truncated", false},
      {signedBy("s", boastful),
       "JWT, HS256, signature verified|"
       "!gzip too large: its trailer gives 2130706441 bytes; the limit is 1048576",
       false},
      {signedBy("s", modest),
       "JWT, HS256, signature verified|!gzip too large: it contains more than the 8 bytes that its trailer gives",
       false},
  };
  for (const auto& [encoded, steps, isOpened] : cases) {
    const DecodedBody body = decodeBody(encoded, "s");
    std::string text;
    for (const auto& step : body.steps)
      text.append(text.empty() ? "" : "|").append(step.failed ? "!" : "").append(step.text);
    EXPECT_EQ(text, steps + std::string(isOpened ? "" : "|!content:1:1: not JSON: Invalid value"));
    EXPECT_EQ(body.json ? compactJSON(*body.json) : "", isOpened ? json : "");
  }
  EXPECT_EQ(decodeBody(signedBy("s", json), std::nullopt).steps.at(0).text,
            "JWT, HS256; signature not checked, because no secret was given");
}

}  // namespace
}  // namespace pellion
