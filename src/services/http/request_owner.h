#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "platform/value.h"
#include "services/http/network_policy.h"

namespace services {

class Network;

/// The process that requests belong to, as their sessions see it. All functions may be called from any thread.
class RequestOwner {
 public:
  [[nodiscard]] virtual Network& network() = 0;
  [[nodiscard]] virtual NetworkPolicy networkPolicy() const = 0;
  /// The value of the header field User-Agent for requests that have none.
  [[nodiscard]] virtual std::string userAgent() const = 0;

  /// Between the two calls at least one request is in flight, and the owner's virtual time stands still.
  virtual void beginOutsideWork() = 0;
  virtual void endOutsideWork() = 0;
  /// Runs `work` on the owner's main thread after `delay` of the owner's time.
  virtual void after(std::chrono::nanoseconds delay, std::function<void()> work) = 0;
  /// Runs a handler as code of the owner.
  virtual void run(const std::function<void()>& handler) = 0;

  /// Whether a listener receives the events of report(): "sends", on the network thread when the connection
  /// stands; "redirected"; at the end "answered" or "failed".
  [[nodiscard]] virtual bool hasListener() const = 0;
  virtual void report(std::string_view what, platform::Value details) = 0;

 protected:
  ~RequestOwner() = default;
};

}  // namespace services
