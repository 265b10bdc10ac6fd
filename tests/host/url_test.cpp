#include "platform/url.h"

#include <gmock/gmock.h>

#include <ranges>

#include "host/url_components.h"
#include "platform/url_session.h"
#include "platform/uuid.h"

namespace {

using namespace std::string_literals;
using host::parseURLComponents;
using platform::HTTPHeaderFields;
using platform::URL;

TEST(URL, IsMadeFromTextWithinTheGrammarAlone) {
  const auto isMade = [](std::string_view text) {
    const auto url = URL::URLWithString(std::string(text));
    EXPECT_TRUE(!url || url->absoluteString() == text) << text;
    return url.has_value();
  };
  constexpr std::string_view valid =
      "http://host/path?query#fragment myapp:// myapp: a/b ?q #f //host mailto:a@b http://[::1]:8/ a%20b "
      "http://h/%F0%9F%98%80 tel:+49-1 x:y:z / . http://h?a=b&c=/?";
  constexpr std::string_view invalid =
      "\n \na b\nhttp://h/ü\nhttp://h/%\nhttp://h/%2\nhttp://h/%zz\nhttp://[::1\nhttp://h/[x]\nhttp://h/a|b\n1a:b\n:b\n"
      "http://h:port/\nhttp://h/\"\nhttp://h/#a#b\nhttp://h/a\\b\nhttp://h/{id}";
  for (const auto text : std::views::split(valid, ' ')) EXPECT_TRUE(isMade({text.begin(), text.end()}));
  for (const auto text : std::views::split(invalid, '\n')) EXPECT_FALSE(isMade({text.begin(), text.end()}));
  for (const std::string& text : {"http://h/\n"s, "a\0b"s}) EXPECT_FALSE(isMade(text));
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
