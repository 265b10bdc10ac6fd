#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "platform/class_face.h"
#include "platform/export.h"
#include "platform/objc.h"
#include "platform/reference.h"
#include "platform/user_defaults.h"
#include "platform/value.h"

/// The messaging service. The host application starts it; it handles everything that the operating system reports
/// about remote notifications.
///
/// Kept: the kinds of payload values are not checked. A value of the wrong kind, or a response whose action matches no
/// button, raises the platform's invalid-argument exception out of the call.
class PL_EXPORT PLMessaging {
 public:
  struct ValueHash {
    std::size_t operator()(const platform::Value& value) const noexcept { return value.hash(); }
  };
  using IDSet = std::unordered_set<platform::Value, ValueHash>;

  /// The one instance. The first call makes it and registers it as an observer of "PLRateUsNotification" and of the
  /// application's activation.
  static PLMessaging& shared();
  /// The host application's only entry point. Defined in interception/, which it starts.
  static void startService();

  // Properties. They live as long as the process and are not locked: main thread.
  [[nodiscard]] std::optional<std::string> pnToken() const { return std::nullopt; }  ///< Kept: no code ever sets it
  [[nodiscard]] const std::optional<platform::Value>& APNSToken() const { return apnsToken_; }
  /// The ids of the notifications seen, as decoded. A record only: it suppresses no notification.
  [[nodiscard]] const IDSet& pellionPnID() const { return pellionPnID_; }
  /// The pending goal, "group_event" in lower case; empty when none is pending, absent until the first response.
  [[nodiscard]] const std::optional<std::string>& conversionEvent() const { return conversionEvent_; }
  /// The id of the last notification delivered or acted on, number or text as decoded.
  [[nodiscard]] const std::optional<platform::Value>& pnID() const { return pnID_; }

  // For code that keeps this state itself.
  void setPellionPnID(IDSet ids) { pellionPnID_ = std::move(ids); }
  void setConversionEvent(std::optional<std::string> goal) { conversionEvent_ = std::move(goal); }
  void setPnID(std::optional<platform::Value> identifier) { pnID_ = std::move(identifier); }

  /// Passes a device token (bytes, or null) to the token manager when it differs from the last one.
  void setAPNSToken(const platform::Value* token);
  /// The same for the token as an object, which APNSTokenObject() then returns itself.
  void setAPNSTokenObject(id token);
  [[nodiscard]] platform::Strong APNSTokenObject() const;
  /// Logs an error object; null does nothing.
  void didFailToRegisterForRemoteNotificationsWithError(id error);
  /// Observes the application's activation: sends the extension's pending statistics three seconds later.
  void applicationDidBecomeActive(id notification);

  /// A notification was delivered: records an entry of status 4.
  void updateLogMsgIds(const platform::Value* payload);
  /// The user acted on a notification: records an entry of status 5, keeps its goal, opens its click action.
  void appDidReceiveMessage(const platform::Value* payload, id response);
  /// Observes "PLRateUsNotification": records an entry of status 6 when the event is the pending goal.
  void globalEngagementDataNotification(id notification);

  /// Searches depth-first, pre-order, without limit of depth. Lists directly inside lists are not searched.
  [[nodiscard]] const platform::Value* findValueForKey(std::string_view key, const platform::Value* dictionary) const;
  /// Returns the first button whose "action" is `identifier`, or null.
  [[nodiscard]] const platform::Value* getActionButtonById(const platform::Value* identifier,
                                                           const platform::Value* buttons) const;
  /// Decodes a text as JSON, an object or a list. Otherwise returns nothing and logs the error.
  [[nodiscard]] std::optional<platform::Value> parseBodyString(const platform::Value& body) const;

  /// A new handle on the App Group's store, or null when no group is configured.
  [[nodiscard]] std::shared_ptr<platform::UserDefaults> getSharedDefaults() const;
  void updateBadgeCount(std::int64_t count) const;
  [[nodiscard]] std::int64_t getBadgeCount() const;  ///< 0 when none is stored

  /// The key of the JSON text from which everything in a payload is read.
  static constexpr std::string_view addInfoKey = "addInfo";

  static constexpr const char* className = "PLMessaging";
  static void defineClass(platform::ClassFace<PLMessaging>& face);

 private:
  void drainSharedStats() const;
  std::optional<platform::Value> parsedAddInfo(const platform::Value* payload) const;
  const platform::Value* rememberID(const platform::Value& addInfo);
  void storeGoal(const platform::Value& addInfo);
  void recordTap(const platform::Value& addInfo, const platform::Value& notificationID);
  void recordAction(const platform::Value& addInfo, const platform::Value& notificationID,
                    const std::optional<platform::Value>& identifier) const;
  void convertIfGoal(const platform::Value* name);

  std::optional<platform::Value> apnsToken_;
  platform::Strong apnsTokenObject_;  // null for a token that was not set as an object
  IDSet pellionPnID_;
  std::optional<std::string> conversionEvent_;
  std::optional<platform::Value> pnID_;
};
