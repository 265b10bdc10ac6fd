// Phones that share what they do not change.

#include "host/phone/phone.h"

#include <gmock/gmock.h>

#include "platform/core_library.h"
#include "platform/user_defaults.h"
#include "services/memory_store.h"
#include "services/property_list/property_list.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test_phone.h"

namespace {

using namespace testing;
using platform::UserDefaults;
using platform::Value;

std::ptrdiff_t entries(const std::filesystem::path& directory) {
  const std::filesystem::directory_iterator files(directory);
  return std::distance(begin(files), end(files));
}

TEST(Phone, inMemoryKeepsItsDataAndMakesNoFile) {
  const test::TemporaryDirectory bundle;
  const Value file = test::configuration("http://127.0.0.1:1");
  services::writePropertyList(bundle.path() / "PellionInfo.plist", file);
  services::Network network;
  const auto openFiles = entries("/proc/self/fd");
  const auto filesHere = entries(".");
  host::Phone phone(network, {.stores = std::make_shared<services::MemoryStores>(), .bundle = bundle.path()});
  host::Phone other(network, {.stores = std::make_shared<services::MemoryStores>(), .bundle = bundle.path()});
  services::Configuration own = services::readConfiguration(phone.configurationPath());
  for (const char* device : {"first", "second"}) {
    own.deviceID = device;
    phone.useConfiguration(own);
    const host::ProcessScope scope(phone.launch());
    platform::QVPIIManager::getInstance().newRegisterDevice([&](const auto& id) { EXPECT_EQ(id, device); });
    const auto shared = UserDefaults::initWithSuiteName("group");
    EXPECT_EQ(shared->objectForKey("launched").has_value(), own.deviceID == "second");
    shared->setObject(true, "launched");
    platform::QVKeyChainWrapper::setData(Value::bytes("token"), "key");
    own.deviceID = "third";
    phone.useConfiguration(own);
    platform::QVPIIManager::getInstance().newRegisterDevice([&](const auto& id) { EXPECT_EQ(id, "third"); });
    const auto path = platform::PLBundle::getMainBundle().pathForResource("PellionInfo", "plist");
    EXPECT_EQ(path, phone.configurationPath());
  }
  EXPECT_EQ(phone.keychain().data("key"), Value::bytes("token"));
  EXPECT_EQ(other.keychain().data("key"), std::nullopt);
  EXPECT_EQ(entries("/proc/self/fd"), openFiles);
  EXPECT_EQ(entries("."), filesHere);
  EXPECT_EQ(entries(bundle.path()), 1);
}

}  // namespace
