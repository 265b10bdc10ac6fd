#include "platform/url.h"

#include <gmock/gmock.h>

#include "host/url_components.h"
#include "platform/url_session.h"
#include "platform/uuid.h"

namespace {

using namespace std::string_literals;
using host::parseURLComponents;
using platform::HTTPHeaderFields;
using platform::URL;

TEST(URL, IsMadeFromTextWithinTheGrammarAlone) {
  const std::string valid[] = {"http://host/path?query#fragment",
                               "myapp://",
                               "myapp:",
                               "a/b",
                               "?q",
                               "#f",
                               "//host",
                               "mailto:a@b",
                               "http://[::1]:8/",
                               "a%20b",
                               "http://h/%F0%9F%98%80",
                               "tel:+49-1",
                               "x:y:z",
                               "/",
                               ".",
                               "http://h?a=b&c=/?"};
  const std::string invalid[] = {"",
                                 " ",
                                 "a b",
                                 "http://h/ü",
                                 "http://h/%",
                                 "http://h/%2",
                                 "http://h/%zz",
                                 "http://[::1",
                                 "http://h/[x]",
                                 "http://h/a|b",
                                 "1a:b",
                                 ":b",
                                 "http://h:port/",
                                 "a\0b"s,
                                 "http://h/\n",
                                 "http://h/\"",
                                 "http://h/#a#b",
                                 "http://h/a\\b",
                                 "http://h/{id}"};
  for (const std::string& text : valid) {
    const auto url = URL::URLWithString(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->absoluteString(), text);
  }
  for (const std::string& text : invalid) EXPECT_FALSE(URL::URLWithString(text)) << text;
  EXPECT_TRUE(URL::URLWithString("http://h/" + std::string(1'000'000, '/')));
}

TEST(URLComponents, SayWhereAURLLeads) {
  const struct {
    std::string_view text;
    std::optional<std::string> scheme, host;
    std::optional<std::uint16_t> port;
  } cases[] = {
      {"HTTPS://User:pw@Host.Example:8443/A/b?c=D#e", "https", "host.example", 8443},
      {"http://h", "http", "h", std::nullopt},
      {"http://h?a@b:7", "http", "h", std::nullopt},
      {"http://[2001:DB8::1]:80/x", "http", "2001:db8::1", 80},
      {"http://h:/", "http", "h", std::nullopt},
      {"http:///x", "http", "", std::nullopt},
      {"mailto:a@b", "mailto", std::nullopt, std::nullopt},
      {"//h/p", std::nullopt, "h", std::nullopt},
      {"a/b:c", std::nullopt, std::nullopt, std::nullopt},
  };
  for (const auto& expected : cases) {
    const auto components = parseURLComponents(expected.text);
    ASSERT_TRUE(components) << expected.text;
    EXPECT_EQ(components->scheme, expected.scheme) << expected.text;
    EXPECT_EQ(components->host, expected.host) << expected.text;
    EXPECT_EQ(components->port, expected.port) << expected.text;
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
