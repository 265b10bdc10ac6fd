// The core library in Objective-C through the module's interfaces.

#include <gmock/gmock.h>

#include <fstream>
#include <string>
#include <utility>

#include "framework/PellionCoreLibrary/library.h"
#include "platform/core_library.h"
#include "platform/reference.h"
#include "services/core_library/signed_body.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::Error;
using platform::OptionalString;
using platform::PLAAAUtil;
using platform::PLJWTWrapper;
using platform::QVFileManager;
using platform::QVPIIManager;
using platform::QVSystemProperties;
using platform::Value;
using testing::HasSubstr;

class CoreLibrary : public testing::Test {
 protected:
  /// A configuration in which the value of each key is its name in lower case.
  void use(std::initializer_list<const char*> keys) {
    const std::string file = directory_.path() / "PellionInfo.plist";
    std::ofstream out(file);
    out << "<plist version=\"1.0\"><dict><key>SERVER_URL</key><string>http://127.0.0.1:1</string>";
    for (std::string text : keys) {
      out << "<key>" << text << "</key>";
      for (char& letter : text) letter = static_cast<char>(std::tolower(letter));
      out << "<string>" << text << "</string>";
    }
    out << "<key>JWT_SECRET</key><string>secret</string></dict></plist>";
    out.close();
    const auto problem = platform::unboxed(
        corelib_use(platform::boxed(Value(file)), platform::boxed(Value(directory_.path().string()))));
    EXPECT_EQ(problem, std::nullopt) << problem->text();
  }

  const platform::AutoreleasePool pool_;
  const test::TemporaryDirectory directory_;
};

TEST_F(CoreLibrary, PassesEachTextOfTheConfiguration) {
  use({"DOMAIN", "PORTAL_ID", "PROJECT_ID", "MAP_ID", "AP_ID", "APP_VERSION_ID", "FRAMEWORK_ID", "DEVICE_ID",
       "ANONYMOUS_ID", "BEARER_TOKEN", "APP_GROUP"});
  auto& properties = QVSystemProperties::sharedInstance();
  OptionalString device;
  OptionalString bearer;
  OptionalString anonymousBearer;
  QVPIIManager::getInstance().newRegisterDevice([&](const OptionalString& got) { device = got; });
  PLAAAUtil::sharedManagerForDevice().getTokenWithSuccess([&](const OptionalString& got) { bearer = got; });
  PLAAAUtil::sharedManagerForAnonymousUser().getTokenWithSuccess(
      [&](const OptionalString& got) { anonymousBearer = got; });
  const std::pair<OptionalString, const char*> rows[] = {
      {platform::Analytics::getInstance().getDCLBD(), "domain"},
      {properties.portalid(), "portal_id"},
      {properties.projectid(), "project_id"},
      {properties.mapid(), "map_id"},
      {properties.apid(), "ap_id"},
      {properties.appversionid(), "app_version_id"},
      {properties.frameworkid(), "framework_id"},
      {device, "device_id"},
      {QVPIIManager::getInstance().anonid(), "anonymous_id"},
      {bearer, "bearer_token"},
      {anonymousBearer, "bearer_token"},
      {QVFileManager::sharedInstance().extensionAppGroup(), "app_group"},
  };
  for (const auto& [got, wanted] : rows) EXPECT_EQ(got, wanted);
}

TEST_F(CoreLibrary, PassesErrorsAndTheIdentityOfARejectedResponse) {
  use({});
  std::string text;
  QVSystemProperties::getAppVersionID([&](const std::string& appVersionID) { text = appVersionID; },
                                      [&](const Error& error) {
                                        text = error.domain + ' ' + std::to_string(error.code) + ' ' +
                                               error.localizedDescription;
                                      });
  EXPECT_EQ(text, "PellionErrorDomain 1 APP_VERSION_ID is not configured.");
  for (PLAAAUtil* each : {&PLAAAUtil::sharedManagerForAnonymousUser(), &PLAAAUtil::sharedManagerForDevice()}) {
    testing::internal::CaptureStderr();
    platform::QVNetworking::processError(Value::dictionary({{"code", 7}}), *each);
    const bool isDevice = each == &PLAAAUtil::sharedManagerForDevice();
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        testing::AllOf(HasSubstr("core library rejected response"), HasSubstr(isDevice ? "device" : "anonymous user")));
  }
}

TEST_F(CoreLibrary, SignsEachKindOfBody) {
  use({});
  const Value payload = Value::dictionary({{"a", "b"}});
  const Value bytes = Value::bytes("bytes");
  EXPECT_EQ(PLJWTWrapper::sharedManager().encodeWithJWT(payload), services::signedPayload(payload, "secret"));
  EXPECT_EQ(PLJWTWrapper::sharedManager().encodeDataWithJWT(bytes), services::signedGzip(bytes, "secret"));
}

}  // namespace
