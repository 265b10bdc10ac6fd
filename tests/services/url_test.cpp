#include "platform/url.h"

#include <gmock/gmock.h>

#include "platform/url_session.h"
#include "platform/uuid.h"
#include "services/url_components.h"
#include "tests/support/cases.h"
#include "tests/support/test_process.h"

namespace {

using namespace std::string_view_literals;
using platform::HTTPHeaderFields;
using platform::URL;
using platform::Value;
using services::parseURLComponents;

std::optional<std::string> urlOf(std::string_view text) {
  const auto url = URL::URLWithString(std::string(text));
  return url ? std::optional(url->absoluteString()) : std::nullopt;
}

TEST(URL, DoesNotChangeWithinTheGrammar) {
  constexpr std::string_view texts =
      "http://host/path?query#fragment myapp:// myapp: a/b ?q #f //host mailto:a@b http://[::1]:8/ a%20b "
      "http://h/%F0%9F%98%80 tel:+49-1 x:y:z / . http://h?a=b&c=/? http://h:65536 "
      "https://example.org?url=https%3A%2F%2Fexample.org%3Ffoo(0)%3Dbar";
  for (const bool isOlder : {false, true}) {
    const test::TestProcess process(isOlder);
    for (const std::string& text : test::parts(texts, ' ')) EXPECT_EQ(urlOf(text), text) << isOlder;
    EXPECT_TRUE(urlOf("http://h/" + std::string(1'000'000, '/')));
  }
}

TEST(URL, IsEncodedOutsideTheGrammarOnlyForApplicationsLinkedSince17) {
  for (const Value& row : test::caseRows("services/cases/encoded_urls.json")) {
    const std::string text = test::textAt(row, "text");
    const auto newer = test::at(row, "newer").ifString();  // null for text that no encoding makes valid
    EXPECT_EQ(urlOf(text), newer) << text;
    const test::TestProcess older(true);
    EXPECT_EQ(urlOf(text), std::nullopt) << text;
  }
  EXPECT_FALSE(urlOf("http://h/\xFF"));
  std::string longHost = "http://";
  for (int i = 0; i < 1'000'000; ++i) longHost += "ü";
  EXPECT_FALSE(urlOf(longHost)) << "and at once";
}

TEST(URLComponents, ReturnTheSchemeAndHostOfAURL) {
  for (const Value& row : test::caseRows("services/cases/url_components.json")) {
    const auto components = parseURLComponents(test::textAt(row, "url"));
    ASSERT_TRUE(components) << row.description();
    EXPECT_EQ(components->scheme, test::at(row, "scheme").ifString()) << row.description();
    EXPECT_EQ(components->host, test::at(row, "host").ifString()) << row.description();
    EXPECT_EQ(components->port ? Value(*components->port) : Value(), test::at(row, "port")) << row.description();
  }
  EXPECT_FALSE(parseURLComponents("http://h:65536/"));
  EXPECT_FALSE(parseURLComponents("http://h h/"));
}

TEST(HTTPHeaderFields, CompareNamesWithoutCaseAndKeepTheirFirstOrder) {
  HTTPHeaderFields headers;
  headers.set("B-Name", "1");
  headers.add("A-Name", "2");
  headers.set("b-NAME", "3");
  headers.add("a-name", "4");
  EXPECT_THAT(headers.fields(), testing::ElementsAre(testing::Pair("B-Name", "3"), testing::Pair("A-Name", "2,4")));
  ASSERT_NE(headers.find("A-NAME"), nullptr);
  EXPECT_EQ(*headers.find("A-NAME"), "2,4");
  EXPECT_EQ(headers.find("A-Nam"), nullptr);
  EXPECT_EQ(headers.dictionary().description(), "{\n    \"A-Name\" = \"2,4\";\n    \"B-Name\" = 3;\n}");
}

TEST(UUID, IsRandomVersion4InUpperCase) {
  const std::string uuid = platform::makeUUIDString();
  EXPECT_THAT(uuid, testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_NE(uuid, platform::makeUUIDString());
}

}  // namespace
