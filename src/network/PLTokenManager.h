#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/class_face.h"
#include "platform/objc.h"
#include "platform/url_session.h"
#include "platform/value.h"

/// The module's only client of the backend: the one request envelope, and the registration of the device token.
///
/// It holds no state: it asks the core library for identity and configuration for each request, and the keychain holds
/// the last accepted token. Any thread may call it. It retries nothing; a failure is a log line and a false.
class PLTokenManager {
 public:
  /// True only for status 200 with a body that is JSON. Called at most once: on the session's queue when the request
  /// ends, or, without a bearer token, inside the core library's callback and so possibly inside the call itself.
  using Completion = std::function<void(bool success)>;
  using Headers = std::vector<std::pair<std::string, std::string>>;

  static PLTokenManager& sharedInstance();

  /// Registers the token (bytes, or null) with the backend unless it is the one that the backend accepted last.
  void setAPNSToken(const platform::Value* token);
  /// Registers the token whatever is stored, and stores it once it is accepted. Null does nothing.
  void registerAPNSToken(const platform::Value* token);
  void sendTokenToServer(const platform::Value& token, Completion completion);
  /// Observes "PLXPIIStatusUpdateNotification": registers the stored token under the present identity.
  void personalInfoTrackingStatusUpdated(id notification);
  /// Lower-case hexadecimal, two digits a byte; empty for null.
  [[nodiscard]] std::string stringFromDeviceToken(const platform::Value* token) const;

  /// Uploads push statistics entries with the application's meta object, as they are, once. Never calls the completion
  /// when the application version id or the meta object is not available.
  void sendStatsToServer(const platform::Value& entries, Completion completion);

  /// Sends one authenticated POST to `path` below "/sdk/v1/". `parameter` is a ready query fragment, `payload` a
  /// dictionary that becomes the JWT-encoded body. Nothing is percent-encoded here; the platform encodes text outside
  /// RFC 3986 when it makes the URL, unless the application was linked before release 17.
  void makeRequest(std::string path, std::optional<std::string> parameter, std::optional<Headers> headers,
                   std::optional<platform::Value> payload, Completion completion);
  /// The base URL, without a trailing slash unless the configuration has one.
  [[nodiscard]] std::string serverUrl() const;
  void setHTTPHeaderField(platform::URLRequest& request) const;

  static constexpr const char* className = "PLTokenManager";
  static void defineClass(platform::ClassFace<PLTokenManager>& face);

 private:
  struct Request;

  void chooseIdentity(const std::shared_ptr<Request>& request, const std::optional<std::string>& deviceID);
  void compose(const std::shared_ptr<Request>& request, const std::string& bearerToken);
  void encodeBody(const platform::Value& payload, platform::URLRequest& urlRequest) const;
  static void handleResponse(const Request& request, const platform::Value* data,
                             const platform::HTTPURLResponse* response, const platform::Error* error);
};
