#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>

#include "host/phone/core_library.h"
#include "host/phone/process.h"
#include "services/core_library/configuration.h"
#include "services/item_store.h"
#include "services/url_loading/network.h"

namespace host {

/// A simulated phone with one application: the data that outlives the application's processes (storage, clock,
/// configuration) and the running process, if any. Belongs to one thread, which is the main thread of its processes.
class Phone {
 public:
  struct Options {
    /// The phone's own directory: keychain, bundle, shared store. May be empty if `stores` are in memory and a `bundle`
    /// is given: then the phone makes no directory and opens no descriptor.
    std::filesystem::path storage = {};
    Clock::Kind clock = Clock::Kind::virtualTime;
    URLSchemes urlSchemes = {};
    bool linkedBefore17 = false;  ///< links the application with an older release of the platform: see platform::URL
    /// Classes of UIKit and UserNotifications that no look-up by name finds, as on a release that lacks them. For any
    /// other name, a launch raises std::invalid_argument.
    std::vector<std::string> hiddenClasses = {};
    EventSink sink = {};
    bool listensToLog = false;  ///< log lines become events, as far as the configuration's LOG_LEVEL permits
    std::shared_ptr<services::ItemStores> stores = {};  ///< makes keychain and App Groups' stores; null: SQLite files
    std::filesystem::path bundle =
        {};                     ///< the application's resources, which phones may share; empty: storage/"bundle"
    OutcomeSink outcomes = {};  ///< receives how each request ended, on a handler thread; may be empty
  };

  /// The network must outlive the phone.
  Phone(services::Network& network, Options options);
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;
  ~Phone();

  /// The configuration file. It may be written by hand before the first launch.
  [[nodiscard]] std::filesystem::path configurationPath() const;
  /// Writes the whole configuration file; a running process applies it at once. When this raises
  /// services::ConfigurationError, nothing has changed.
  void configure(const platform::Value& configuration);
  /// Applies `configuration` to the running process at once, and to later launches in place of the file, which stays as
  /// it is: the application still reads its resource there. Lasts until configure().
  void useConfiguration(services::Configuration configuration);
  void useConfiguration(std::shared_ptr<const services::Configuration> configuration);
  /// The directory of the App Groups' stores, which the notification extension shares.
  [[nodiscard]] std::filesystem::path appGroups() const { return options_.storage / "groups"; }
  /// Makes the core library notify the running process that the tracking consent has changed.
  void announceTrackingStatus();

  /// Starts the application and first ends a process that is still running. Raises services::ConfigurationError.
  Process& launch();
  /// Ends the process as the system does: no code of it runs any more.
  void terminate();
  /// Any thread: ends the requests of the running process and of all later ones, unanswered. For a phone that is no
  /// longer needed and should not wait for a server.
  void endRequests();
  [[nodiscard]] Process* process() { return process_.get(); }

  /// Runs `work` in a process of its own that shares the App Groups' stores: the notification extension.
  void runExtension(const std::function<void()>& work);

  [[nodiscard]] Clock& clock() { return clock_; }
  [[nodiscard]] services::ItemStore& keychain() { return *keychain_; }

 private:
  void apply(std::shared_ptr<const services::Configuration> configuration);
  [[nodiscard]] std::filesystem::path bundle() const;
  void report(std::string_view actor, std::string_view what, platform::Value details);

  services::Network& network_;
  Options options_;
  Clock clock_;
  std::shared_ptr<services::ItemStore> keychain_;
  std::shared_ptr<const services::Configuration> configuration_;  // in place of the file; null: the file
  std::mutex processMutex_;                                       ///< for endRequests(): all else is for one thread
  std::unique_ptr<Process> process_;
  bool requestsHaveEnded_ = false;
  std::shared_ptr<CoreLibrary> coreLibrary_;
};

}  // namespace host
