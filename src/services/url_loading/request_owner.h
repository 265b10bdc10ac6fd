#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/value.h"
#include "services/http/network_policy.h"

namespace platform {
struct URLRequest;
}

namespace services {

class Network;
struct RequestOutcome;  // services/url_loading/request_outcome.h

/// The process that requests belong to, as their sessions see it. All functions may be called from any thread.
class RequestOwner {
 public:
  [[nodiscard]] virtual Network& network() = 0;
  [[nodiscard]] virtual std::shared_ptr<const NetworkPolicy> networkPolicy() const = 0;  ///< never null
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

  /// Whether each outcome is passed to ended().
  [[nodiscard]] virtual bool wantsOutcomes() const { return false; }
  /// Called once for each resumed task, as code of the owner, before its handler or in its place: on a handler thread,
  /// or on the thread that started it if it was refused. `request` is the last one after redirects.
  virtual void ended(const platform::URLRequest& request, const RequestOutcome& outcome);

 protected:
  ~RequestOwner() = default;
};

inline void RequestOwner::ended(const platform::URLRequest& /*request*/, const RequestOutcome& /*outcome*/) {}

}  // namespace services
