#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/error.h"
#include "platform/value.h"

// The vendor's closed core library: the module knows only these calls. Its classes keep their names; a value that may
// be missing is optional. Each object belongs to the current process and lives as long as the process.

namespace platform {

using OptionalString = std::optional<std::string>;

/// The personal-information manager.
class QVPIIManager {
 public:
  static QVPIIManager& getInstance();
  virtual ~QVPIIManager() = default;
  /// Calls `block` once, on any thread, with the id under which the backend knows this installation.
  virtual void newRegisterDevice(std::function<void(OptionalString deviceID)> block) = 0;
  virtual bool isAnonymousUser() = 0;
  virtual OptionalString anonid() = 0;
};

class Analytics {
 public:
  static Analytics& getInstance();
  virtual ~Analytics() = default;
  virtual bool enableAnonymousTracking() = 0;
  /// The domain that the default server's host name is built from.
  virtual OptionalString getDCLBD() = 0;
};

/// Authentication: one manager for the identified device, one for the anonymous user.
class PLAAAUtil {
 public:
  static PLAAAUtil& sharedManagerForDevice();
  static PLAAAUtil& sharedManagerForAnonymousUser();
  virtual ~PLAAAUtil() = default;
  /// Calls `block` once, on any thread, with the bearer token or nothing.
  virtual void getTokenWithSuccess(std::function<void(OptionalString token)> block) = 0;
};

/// The application's registration properties.
class QVSystemProperties {
 public:
  static QVSystemProperties& sharedInstance();
  virtual ~QVSystemProperties() = default;
  virtual OptionalString appversionid() = 0;
  virtual OptionalString frameworkid() = 0;
  virtual OptionalString mapid() = 0;
  virtual OptionalString apid() = 0;
  virtual OptionalString portalid() = 0;
  virtual OptionalString projectid() = 0;

  /// Makes the application version id available, then calls one of the two, on any thread.
  static void getAppVersionID(const std::function<void(const std::string& appVersionID)>& success,
                              const std::function<void(const Error& error)>& failure);
  /// The application's meta object, or nothing when it is not available.
  static std::optional<Value> appMeta();
};

/// Files and settings.
class QVFileManager {
 public:
  static QVFileManager& sharedInstance();
  virtual ~QVFileManager() = default;
  virtual bool enableGzip() = 0;
  /// The resource name, without extension, of the configuration property list.
  virtual OptionalString getQvInfoFilePath() = 0;
  virtual OptionalString extensionAppGroup() = 0;
};

/// The bundle that holds the application's resources.
class PLBundle {
 public:
  static PLBundle& getMainBundle();
  virtual ~PLBundle() = default;
  virtual OptionalString pathForResource(const OptionalString& name, const char* type) = 0;
};

class PLJWTWrapper {
 public:
  static PLJWTWrapper& sharedManager();
  virtual ~PLJWTWrapper() = default;
  virtual std::optional<Value> encodeWithJWT(const Value& payload) = 0;    ///< body bytes of a dictionary
  virtual std::optional<Value> encodeDataWithJWT(const Value& bytes) = 0;  ///< body bytes of compressed JSON
};

class QVNetworking {
 public:
  /// Receives the decoded JSON of a rejected response, and the manager that supplied the token. Any thread.
  static void processError(const Value& json, PLAAAUtil& aaaUtil);
};

/// The keychain. Its items survive the end of the process and a loss of power. Any thread.
class QVKeyChainWrapper {
 public:
  static std::optional<Value> dataForKey(const char* key);
  static void setData(const Value& data, const char* key);
};

class QVSystemInfo {
 public:
  static std::int64_t getTimeinLong();
};

/// Returns `data` as gzip (RFC 1952), nothing on failure. `compressionLevel`: a fraction of the highest level, 0 to 1.
std::optional<Value> pl_gzippedData(const Value& data, float compressionLevel);

}  // namespace platform
