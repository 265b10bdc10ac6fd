#include "pellion/lab_server/lab_access.h"

#include <gmock/gmock.h>

namespace pellion {
namespace {

using namespace testing;

using Fields = std::vector<std::pair<std::string, std::string>>;

/// Asks a lab on port 8080 from where its own page stands, except for what a case changes.
class LabAccessRules : public Test {
 protected:
  [[nodiscard]] std::string token() const { return access_.address().substr(access_.address().find('=') + 1); }
  [[nodiscard]] LabRequest request(const std::string& method, const std::string& path, const Fields& changed) const {
    LabRequest request{.method = method, .path = path};
    request.headers = {{"host", "127.0.0.1:8080"}};
    if (method != "GET") request.headers.emplace_back("origin", "http://127.0.0.1:8080");
    if (method == "POST") request.headers.emplace_back("content-type", "application/json");
    for (const auto& change : changed) {
      std::erase_if(request.headers, [&](const auto& field) { return field.first == change.first; });
      if (!change.second.empty()) request.headers.push_back(change);
    }
    request.cookie = token();
    return request;
  }
  /// 200 for a request that may go on.
  [[nodiscard]] unsigned status(const LabRequest& request) const {
    const auto reply = access_.check(request);
    return reply ? reply->status : 200;
  }

  const LabAccess access_{8080};
};

TEST_F(LabAccessRules, LetInThePageAlone) {
  struct Case {
    const char* method;
    const char* path;
    Fields changed;
    unsigned status;
  };
  const Case cases[] = {
      {"GET", "/", {}, 200},
      {"GET", "/lab.js", {{"sec-fetch-site", "same-origin"}}, 200},
      {"GET", "/", {{"host", "localhost:8080"}}, 200},
      {"POST", "/api/explain", {}, 200},
      {"POST", "/api/explain", {{"content-type", "application/JSON; charset=utf-8"}}, 200},
      {"POST", "/api/explain", {{"origin", ""}, {"sec-fetch-site", "same-origin"}}, 200},
      {"DELETE", "/api/phones/1", {}, 200},
      // A rebound name, another port, no name.
      {"GET", "/", {{"host", "lab.example:8080"}}, 421},
      {"GET", "/", {{"host", "127.0.0.1:8081"}}, 421},
      {"GET", "/", {{"host", "127.0.0.1"}}, 421},
      {"GET", "/", {{"host", "127.0.0.1.example:8080"}}, 421},
      {"GET", "/", {{"host", ""}}, 421},
      {"POST", "/api/explain", {{"host", "lab.example:8080"}, {"origin", "http://lab.example:8080"}}, 421},
      // Other pages.
      {"POST", "/api/explain", {{"origin", "http://lab.example"}}, 403},
      {"POST", "/api/explain", {{"origin", "http://127.0.0.1:8081"}}, 403},
      {"POST", "/api/explain", {{"origin", "https://127.0.0.1:8080"}}, 403},
      {"POST", "/api/explain", {{"origin", "http://localhost:8080"}}, 403},
      {"POST", "/api/explain", {{"origin", "null"}}, 403},
      {"POST", "/api/explain", {{"origin", ""}}, 403},
      {"DELETE", "/api/phones/1", {{"origin", ""}}, 403},
      {"GET", "/api/phones/1/events", {{"origin", "http://lab.example"}}, 403},
      {"GET", "/api/phones/1/events", {{"sec-fetch-site", "cross-site"}}, 403},
      {"GET", "/lab.js", {{"sec-fetch-site", "same-site"}}, 403},
      {"POST", "/api/explain", {{"sec-fetch-site", "cross-site"}}, 403},
      // What a form sends.
      {"POST", "/api/explain", {{"content-type", "text/plain"}}, 415},
      {"POST", "/api/explain", {{"content-type", "application/x-www-form-urlencoded"}}, 415},
      {"POST", "/api/explain", {{"content-type", "application/jsonp"}}, 415},
      {"POST", "/api/explain", {{"content-type", ""}}, 415},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(status(request(each.method, each.path, each.changed)), each.status)
        << each.method << " " << each.path << " " << PrintToString(each.changed);
  }
  LabRequest twice = request("GET", "/", {});
  twice.headers.emplace_back("host", "127.0.0.1:8080");
  EXPECT_EQ(status(twice), 421U);
}

TEST_F(LabAccessRules, AskForTheTokenOrItsCookie) {
  LabRequest first = request("GET", "/", {{"sec-fetch-site", "cross-site"}});
  first.cookie.reset();
  EXPECT_THAT(access_.check(first)->body, HasSubstr("Open the address that <code>pellion lab</code> has printed"));
  EXPECT_EQ(status(first), 403U);
  first.token = token();
  const LabReply reply = access_.check(first).value();
  EXPECT_EQ(reply.status, 303U);
  EXPECT_THAT(reply.headers,
              ElementsAre(Pair("Location", "/"),
                          Pair("Set-Cookie", "pellion-lab-8080=" + token() + "; Path=/; HttpOnly; SameSite=Strict")));
  for (const std::string& wrong : {std::string(), token().substr(1), token() + "0", LabAccess(8080).address()}) {
    LabRequest other = request("GET", "/", {});
    other.token = wrong;
    EXPECT_EQ(status(other), 403U) << wrong;
    other = request("POST", "/api/phones", {});
    other.cookie = wrong;
    EXPECT_EQ(status(other), 403U) << wrong;
    EXPECT_THAT(access_.check(other)->body, HasSubstr(R"({"error":"the token is missing or wrong)"));
  }
  EXPECT_GE(token().size(), 32U);
}

}  // namespace
}  // namespace pellion
