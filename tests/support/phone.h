#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/reference.h"
#include "platform/value.h"

namespace test {

/// A phone on which the module runs, its process current on this thread: the host's, or over Foundation this program
/// with the UIKit of examples/objc_app. It logs verbosely; its requests get no answer that matters. Over Foundation a
/// program has one.
class Phone {
 public:
  Phone();
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;
  ~Phone();

  /// Runs `work`, then turns the main queue until nothing is left to do.
  void run(const std::function<void()>& work);

  // What has come since the last call.
  std::vector<std::string> takeLog();    ///< the texts of the log lines
  std::vector<std::string> takeLines();  ///< the same with channel and method: "verbose +[Class method]: text"
  /// The details of what was done in the system's place: "fetched" {result}, "set badge" {number}.
  std::vector<platform::Value> take(std::string_view what);
  std::vector<platform::Value> takeEntries();  ///< statistics entries in the payloads of requests

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The application's objects, and what the system does to it. Each event calls a delegate's method, as on the platform.
id sharedApplication();
id currentNotificationCenter();
platform::Strong makeNotification(const platform::Value& userInfo);
platform::Strong makeNotificationResponse(const platform::Value& userInfo, const platform::Value& action);
/// Keeps the delegate for the life of the process.
void startApplication(const platform::Strong& delegate);
void deliverDeviceToken(const platform::Value* token);
void failToRegisterForRemoteNotifications(const platform::Error& error);
void deliverInBackground(const platform::Value& userInfo);
void deliverInForeground(const platform::Value& userInfo);
void deliverResponse(const platform::Value& userInfo, const platform::Value& action);

}  // namespace test
