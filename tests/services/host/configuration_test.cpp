#include "services/core_library/configuration.h"

#include <gmock/gmock.h>

#include <fstream>

#include "services/property_list/property_list.h"
#include "tests/support/raised.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test_phone.h"

namespace {

using platform::Value;
using testing::HasSubstr;

template <class Work>
std::string configurationErrorOf(const Work& work) {
  return test::thrown<services::ConfigurationError>(work);
}

TEST(Configuration, namesTheFileTheKeyAndTheExpectedValue) {
  const std::vector<std::pair<std::vector<Value::Entry>, std::string>> cases{
      {{{"PORTAL_ID", 7}}, "/bundle/PellionInfo.plist: PORTAL_ID must be a string"},
      {{{"GZIP", "yes"}}, "GZIP must be true or false"},
      {{{"GZIP", 1}}, "GZIP must be true or false"},
      {{{"APP_META", "x"}}, "APP_META must be a dictionary"},
      {{{"LOG_LEVEL", "loud"}}, "LOG_LEVEL must be one of none, warning, info, verbose"},
      {{{"BEARER_TOKEN", "a\r\nX-Evil: 1"}}, "BEARER_TOKEN must not contain control characters"},
      {{{"CLEAR_TEXT_HOSTS", "a"}}, "CLEAR_TEXT_HOSTS must be a list"},
      {{{"CLEAR_TEXT_HOSTS", Value::list({1})}}, "CLEAR_TEXT_HOSTS must be a string"},
      {{{"CA_FILE", "nowhere.pem"}}, "CA_FILE must name a file"},
      {{{"SERVER_ULR", "x"}}, "SERVER_ULR is not a known key; the keys are ANONYMOUS_ID, ANONYMOUS_TRACKING"},
      {{{"SERVER_URL", nullptr}}, "SERVER_URL is missing"},
      {{{"SERVER_URL", ""}, {"DOMAIN", ""}}, "SERVER_URL is missing"},
      {{{"CA_FILE", std::string(5000, 'x')}}, "CA_FILE must name a file"},
      {{{"JWT_SECRET", nullptr}}, "JWT_SECRET is missing"},
  };
  for (const auto& [overrides, expected] : cases) {
    const Value dictionary = test::configuration("https://example.test", overrides);
    EXPECT_THAT(configurationErrorOf([&] { services::configurationFrom(dictionary, "/bundle/PellionInfo.plist"); }),
                HasSubstr(expected));
  }
}

TEST(Configuration, readsTheFileAndFindsTheAuthoritiesBesideIt) {
  const test::TemporaryDirectory directory;
  const std::filesystem::path path = directory.path() / "PellionInfo.plist";
  std::ofstream(directory.path() / "ca.pem") << "";
  services::writePropertyList(
      path, test::configuration("https://example.test", {{"LOG_LEVEL", "warning"}, {"CA_FILE", "ca.pem"}}));
  const services::Configuration configuration = services::readConfiguration(path);
  EXPECT_EQ(configuration.serverURL, "https://example.test");
  EXPECT_EQ(configuration.logLevel, platform::LogLevel::warning);
  EXPECT_EQ(configuration.networkPolicy.certificateAuthorities, directory.path() / "ca.pem");
}

TEST(Configuration, reportsWhyAFileCannotBeRead) {
  const test::TemporaryDirectory directory;
  const std::filesystem::path path = directory.path() / "PellionInfo.plist";
  const auto error = [&] { return configurationErrorOf([&] { services::readConfiguration(path); }); };
  EXPECT_THAT(error(), HasSubstr(path.string()));
  for (const char* text : {"<plist><array/></plist>", "not a property list"}) {
    std::ofstream(path) << text;
    EXPECT_THAT(error(), HasSubstr(path.string()));
  }
}

}  // namespace
