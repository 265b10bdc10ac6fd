// The badge count, kept in the store that the application shares with its notification extension.

#include "messaging/PLMessaging.h"
#include "platform/core_library.h"

namespace {

constexpr const char* badgeKey = "pellionBadgeCount";

}  // namespace

std::shared_ptr<platform::UserDefaults> PLMessaging::getSharedDefaults() const {
  // Asks the core library three times, since it may return something else each time.
  auto& fileManager = platform::QVFileManager::sharedInstance();
  if (!fileManager.extensionAppGroup()) return nullptr;
  if (fileManager.extensionAppGroup().value_or("").empty()) return nullptr;
  return platform::UserDefaults::initWithSuiteName(fileManager.extensionAppGroup().value_or(""));
}

void PLMessaging::updateBadgeCount(std::int64_t count) const {
  const std::shared_ptr<platform::UserDefaults> defaults = getSharedDefaults();
  if (!defaults) return;
  defaults->setObject(count, badgeKey);
  defaults->synchronize();
}

std::int64_t PLMessaging::getBadgeCount() const {
  const std::shared_ptr<platform::UserDefaults> defaults = getSharedDefaults();
  if (!defaults) return 0;
  const std::optional<platform::Value> count = defaults->objectForKey(badgeKey);
  return count ? count->integerValue() : 0;
}
