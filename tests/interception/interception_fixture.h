#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <vector>

#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "messaging/PLMessaging.h"
#include "platform/user_notifications.h"
#include "tests/contract/contract.h"
#include "tests/support/payloads.h"
#include "tests/support/phone.h"
#include "tests/support/test_application.h"

namespace test {

inline const platform::Value ours = payload(R"({"pellionPnID": 7, "conversion": {"group": "g", "event": "e"}})");

/// A phone on which the service can start.
class Interception : public SkipsDifferences<> {
 protected:
  using Proxy = PLMessagingRemoteNotificationsProxy;

  void present(const platform::Value& userInfo = ours) { deliverInForeground(userInfo); }
  void tap(const platform::Value& userInfo = ours) {
    deliverResponse(userInfo, platform::UNNotificationDefaultActionIdentifier);
  }
  std::vector<std::int64_t> takeStatuses() {
    std::vector<std::int64_t> statuses;
    for (const platform::Value& entry : phone_.takeEntries()) statuses.push_back(entry.find("status")->integer());
    return statuses;
  }
  static void startWith(const platform::Strong& centerDelegate) {
    setCenterDelegate(centerDelegate.get());
    PLMessaging::startService();
  }
  static Proxy& proxy() { return Proxy::sharedInstance(); }

  Phone phone_;
};

}  // namespace test
