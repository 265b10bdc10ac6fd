#include "host/phone/phone.h"

#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "host/objc/objc_runtime.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "platform/notification_center.h"
#include "services/property_list/property_list.h"
#include "services/sqlite_store.h"

namespace host {

using platform::Value;

namespace {

/// Hides one of the platform's classes that an application can work without.
void hide(const std::string& name) {
  const bool isOptional = name.starts_with("UI") || name.starts_with("UN");
  if (!isOptional || !Runtime::current().hideClass(name)) {
    throw std::invalid_argument(name + ": this class cannot be missing; name a class of UIKit or UserNotifications");
  }
}

/// Makes the missing parent directories too. Only the owner may use a new directory, whatever the umask.
void makeOwnerOnlyDirectory(const std::filesystem::path& path) {
  if (path.empty() || std::filesystem::is_directory(path)) return;
  makeOwnerOnlyDirectory(path.parent_path());
  if (::mkdir(path.c_str(), S_IRWXU) == 0) return;
  const std::error_code problem(errno, std::generic_category());
  if (!std::filesystem::is_directory(path)) {
    throw std::filesystem::filesystem_error("a phone cannot keep its storage here", path, problem);
  }
}

services::ItemStores& storesOf(Phone::Options& options) {
  if (!options.stores) options.stores = std::make_shared<services::SQLiteStores>();
  return *options.stores;
}

std::shared_ptr<const services::NetworkPolicy> policyOf(
    const std::shared_ptr<const services::Configuration>& configuration) {
  return {configuration, &configuration->networkPolicy};
}

}  // namespace

Phone::Phone(services::Network& network, Options options)
    : network_(network),
      options_(std::move(options)),
      clock_(options_.clock),
      keychain_(storesOf(options_).open(options_.storage / "keychain.sqlite", [this](const std::string& problem) {
        report("keychain", "failed", Value::dictionary({{"problem", problem}}));
      })) {
  if (options_.storage.empty() && !options_.bundle.empty()) return;
  makeOwnerOnlyDirectory(bundle());
  makeOwnerOnlyDirectory(appGroups());
}

Phone::~Phone() = default;

std::filesystem::path Phone::configurationPath() const {
  return bundle() / (std::string(CoreLibrary::configurationResource) + ".plist");
}

std::filesystem::path Phone::bundle() const {
  return options_.bundle.empty() ? options_.storage / "bundle" : options_.bundle;
}

void Phone::configure(const Value& configuration) {
  services::Configuration read = services::configurationFrom(configuration, configurationPath());
  services::writePropertyList(configurationPath(), configuration);
  configuration_.reset();
  apply(std::make_shared<const services::Configuration>(std::move(read)));
}

void Phone::useConfiguration(services::Configuration configuration) {
  useConfiguration(std::make_shared<const services::Configuration>(std::move(configuration)));
}

void Phone::useConfiguration(std::shared_ptr<const services::Configuration> configuration) {
  configuration_ = std::move(configuration);
  apply(configuration_);
}

void Phone::apply(std::shared_ptr<const services::Configuration> configuration) {
  if (!process_) return;
  process_->setLogLevel(options_.listensToLog ? configuration->logLevel : LogLevel::none);
  process_->setNetworkPolicy(policyOf(configuration));
  coreLibrary_->setConfiguration(std::move(configuration));
}

void Phone::announceTrackingStatus() {
  if (!process_) return;
  const ProcessScope scope(*process_);
  platform::NotificationCenter::postNotificationName("PLXPIIStatusUpdateNotification", nullptr);
}

Process& Phone::launch() {
  std::shared_ptr<const services::Configuration> configuration = configuration_;
  if (!configuration) {
    configuration = std::make_shared<const services::Configuration>(services::readConfiguration(configurationPath()));
  }
  terminate();
  auto process = std::make_unique<Process>(Process::Environment{.clock = clock_,
                                                                .network = network_,
                                                                .networkPolicy = policyOf(configuration),
                                                                .appGroups = appGroups(),
                                                                .urlSchemes = options_.urlSchemes,
                                                                .linkedBefore17 = options_.linkedBefore17,
                                                                .sink = options_.sink,
                                                                .stores = options_.stores,
                                                                .outcomes = options_.outcomes});
  {
    const std::lock_guard lock(processMutex_);
    process_ = std::move(process);
    if (requestsHaveEnded_) network_.endRequests(*process_);
  }
  process_->setLogLevel(options_.listensToLog ? configuration->logLevel : LogLevel::none);
  coreLibrary_ = std::make_shared<CoreLibrary>(*process_, bundle(), *keychain_, std::move(configuration));
  process_->setCoreLibrary(coreLibrary_);
  const ProcessScope scope(*process_);
  UIApplication::install();
  installUserNotifications();
  for (const std::string& name : options_.hiddenClasses) hide(name);
  report("app", "launched", Value::dictionary({}));
  return *process_;
}

void Phone::terminate() {
  if (!process_) return;
  std::unique_ptr<Process> ended;
  {
    const std::lock_guard lock(processMutex_);
    ended = std::move(process_);
  }
  ended.reset();
  coreLibrary_.reset();
  report("app", "ended", Value::dictionary({}));
}

void Phone::endRequests() {
  const std::lock_guard lock(processMutex_);
  requestsHaveEnded_ = true;
  if (process_) network_.endRequests(*process_);
}

void Phone::runExtension(const std::function<void()>& work) {
  Process extension({.clock = clock_,
                     .network = network_,
                     .appGroups = appGroups(),
                     .linkedBefore17 = options_.linkedBefore17,
                     .sink = options_.sink,
                     .stores = options_.stores,
                     .outcomes = options_.outcomes});
  const ProcessScope scope(extension);
  work();
}

void Phone::report(std::string_view actor, std::string_view what, Value details) {
  if (options_.sink) options_.sink({clock_.now(), actor, what, std::move(details)});
}

}  // namespace host
