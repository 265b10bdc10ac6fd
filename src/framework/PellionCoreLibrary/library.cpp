#include "framework/PellionCoreLibrary/library.h"

#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

#include "platform/exception.h"
#include "platform/log.h"
#include "platform/reference.h"
#include "services/core_library/configuration.h"
#include "services/core_library/signed_body.h"
#include "services/gzip.h"
#include "services/sqlite_store.h"

namespace core_library {
namespace {

using platform::Value;
using services::Configuration;

/// What the library works with, replaced as a whole. A use that has begun keeps its own.
struct Library {
  std::string file;
  Configuration configuration;
  services::SQLiteStore keychain;

  Library(std::string path, Configuration read, const std::filesystem::path& storage)
      : file(std::move(path)), configuration(std::move(read)), keychain(storage / "keychain.sqlite", report) {}
  static void report(const std::string& problem) {
    const platform::AutoreleasePool pool;
    corelib_keychainFailed(platform::boxed(Value(problem)));
  }
};

class Current {
 public:
  static Current& shared() {
    static auto& current = *new Current;  // threads may use it after main
    return current;
  }
  std::shared_ptr<Library> get() {
    const std::lock_guard lock(mutex_);
    return library_;
  }
  void set(std::shared_ptr<Library> library) {
    const std::lock_guard lock(mutex_);
    library_.swap(library);
  }

 private:
  std::mutex mutex_;
  std::shared_ptr<Library> library_;
};

std::shared_ptr<Library> library() { return Current::shared().get(); }

id boxedText(const std::optional<std::string>& text) { return text ? platform::boxed(Value(*text)) : nullptr; }
id boxedValue(const std::optional<Value>& value) { return value ? platform::boxed(*value) : nullptr; }

std::string textOf(id object) {
  const auto value = platform::unboxed(object);
  return value && value->ifString() ? std::string(value->text()) : "";
}

constexpr std::optional<std::string> Configuration::*texts[] = {
    &Configuration::domain,      &Configuration::portalID,     &Configuration::projectID,   &Configuration::mapID,
    &Configuration::apID,        &Configuration::appVersionID, &Configuration::frameworkID, &Configuration::deviceID,
    &Configuration::anonymousID, &Configuration::bearerToken,  &Configuration::appGroup};  // in corelib_Text's order
constexpr bool Configuration::*flags[] = {&Configuration::isAnonymousUser, &Configuration::isAnonymousTrackingEnabled,
                                          &Configuration::isGzipEnabled};  // in corelib_Flag's order

/// The value as the body of a request, signed with the configured secret.
template <class Sign>
id signedBody(id content, Sign sign) {
  return platform::enter([&]() -> id {
    const auto value = platform::unboxed(content);
    const auto current = library();
    return value && current ? boxedValue(sign(*value, current->configuration.jwtSecret)) : nullptr;
  });
}

}  // namespace
}  // namespace core_library

using core_library::library;
using platform::Value;

id corelib_use(id configurationFile, id storageFolder) {
  const std::string file = core_library::textOf(configurationFile);
  const std::filesystem::path storage = core_library::textOf(storageFolder);
  if (file.empty()) return platform::boxed(Value("no configuration file is given; pass the path of a property list"));
  if (storage.empty()) return platform::boxed(Value("no folder for the keychain is given; pass the path of one"));
  try {
    services::Configuration read = services::readConfiguration(file);
    std::filesystem::create_directories(storage);
    std::filesystem::permissions(storage, std::filesystem::perms::owner_all);
    core_library::Current::shared().set(std::make_shared<core_library::Library>(file, std::move(read), storage));
    return nullptr;
  } catch (const services::ConfigurationError& error) {
    return platform::boxed(Value(error.what()));
  } catch (const std::filesystem::filesystem_error& error) {
    return platform::boxed(Value(storage.string() + ": the folder for the keychain cannot be used: " +
                                 error.code().message() + "; give a folder that can be written"));
  }
}
id corelib_configurationFile() {
  const auto current = library();
  return current ? platform::boxed(Value(current->file)) : nullptr;
}

id corelib_text(corelib_Text text) {
  const auto current = library();
  return current ? core_library::boxedText(current->configuration.*core_library::texts[text]) : nullptr;
}
bool corelib_flag(corelib_Flag flag) {
  const auto current = library();
  return current && current->configuration.*core_library::flags[flag];
}
id corelib_appMeta() {
  const auto current = library();
  return current ? core_library::boxedValue(current->configuration.appMeta) : nullptr;
}

bool corelib_logs(id tag) {
  const auto current = library();
  if (!current) return true;
  const std::string name = core_library::textOf(tag);
  for (const platform::LogChannel& channel :
       {platform::pellionLog, platform::pellionWarning, platform::warning, platform::verbose}) {
    if (name == channel.tag) return current->configuration.logLevel >= channel.level;
  }
  return current->configuration.logLevel > platform::LogLevel::none;
}

id corelib_keychainData(id key) {
  const auto current = library();
  return current ? core_library::boxedValue(current->keychain.data(core_library::textOf(key))) : nullptr;
}
bool corelib_setKeychainData(id key, id data) {
  const auto current = library();
  const auto bytes = platform::unboxed(data);
  return current && bytes && bytes->kind() == Value::Kind::bytes &&
         current->keychain.setData(core_library::textOf(key), *bytes);
}

id corelib_signedPayload(id payload) { return core_library::signedBody(payload, services::signedPayload); }
id corelib_signedData(id data) { return core_library::signedBody(data, services::signedGzip); }
id corelib_gzip(id data, float level) {
  const auto bytes = platform::unboxed(data);
  return bytes ? core_library::boxedValue(services::gzip(bytes->bytes(), level)) : nullptr;
}
