#pragma once

#include <curl/curl.h>

#include <optional>
#include <string>

#include "platform/error.h"
#include "platform/url.h"

namespace services {

/// The codes of NSURLErrorDomain in use here.
enum class URLErrorCode {
  unknown = -1,
  badURL = -1000,
  timedOut = -1001,
  unsupportedURL = -1002,
  cannotFindHost = -1003,
  cannotConnectToHost = -1004,
  networkConnectionLost = -1005,
  httpTooManyRedirects = -1007,
  cannotDecodeRawData = -1015,
  cannotParseResponse = -1017,
  appTransportSecurityRequiresSecureConnection = -1022,
  dataLengthExceedsMaximum = -1103,
  secureConnectionFailed = -1200,
  serverCertificateHasBadDate = -1201,
  serverCertificateUntrusted = -1202,
};

/// Returns the platform's error with its own or a more detailed text. The URL is absent when none could be made.
platform::Error urlError(URLErrorCode code, const std::optional<platform::URL>& failingURL);
platform::Error urlError(URLErrorCode code, const std::optional<platform::URL>& failingURL, std::string text);

/// Returns the platform's error for the failed end of a transfer. `verifyResult` is OpenSSL's verdict on the
/// certificate. It is X509_V_OK when only the host's name does not match, or when no certificate has arrived.
platform::Error transferError(CURLcode result, int verifyResult, const std::optional<platform::URL>& failingURL);

}  // namespace services
