#pragma once

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "platform/error.h"
#include "platform/url.h"
#include "services/http/network_policy.h"

namespace services {

/// An http or https URL, parsed by the same parser that libcurl connects with: what is checked is what it connects to.
class HTTPURL {
 public:
  /// Returns nothing when libcurl cannot make a connection from it. A user's name in the URL is left out: the platform
  /// sends it only when it is asked to.
  static std::optional<HTTPURL> parse(const platform::URL& url);

  [[nodiscard]] bool isEncrypted() const { return scheme_ == "https"; }
  [[nodiscard]] const std::string& host() const { return host_; }  ///< lower case; an IPv6 address without brackets
  [[nodiscard]] std::string hostField() const;  ///< the request's field Host: the port only if it is not the scheme's
  [[nodiscard]] bool isLoopback() const;        ///< localhost, 127.0.0.0/8 or ::1
  [[nodiscard]] bool hasSameOrigin(const HTTPURL& other) const;  ///< scheme, host and port
  [[nodiscard]] CURLU* handle() const { return handle_.get(); }

 private:
  struct Cleanup {
    void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
  };
  using Handle = std::unique_ptr<CURLU, Cleanup>;

  explicit HTTPURL(Handle handle);

  Handle handle_;
  std::string scheme_;
  std::string host_;
  std::string port_;
};

/// Returns the URL of a request that may leave the phone, or the error that it ends with: no URL, another scheme, no
/// host, a host that cannot exist, clear text to a host to which the policy does not allow it.
std::variant<HTTPURL, platform::Error> admissibleURL(const std::optional<platform::URL>& url,
                                                     const NetworkPolicy& policy);

}  // namespace services
