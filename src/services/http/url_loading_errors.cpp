#include "services/http/url_loading_errors.h"

#include <openssl/x509_vfy.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace services {
namespace {

struct Row {
  URLErrorCode code;
  const char* text;
};

constexpr std::array texts{
    Row{URLErrorCode::unknown, "unknown error"},
    Row{URLErrorCode::badURL, "bad URL"},
    Row{URLErrorCode::timedOut, "The request timed out."},
    Row{URLErrorCode::unsupportedURL, "unsupported URL"},
    Row{URLErrorCode::cannotFindHost, "A server with the specified hostname could not be found."},
    Row{URLErrorCode::cannotConnectToHost, "Could not connect to the server."},
    Row{URLErrorCode::networkConnectionLost, "The network connection was lost."},
    Row{URLErrorCode::httpTooManyRedirects, "too many HTTP redirects"},
    Row{URLErrorCode::cannotDecodeRawData, "cannot decode raw data"},
    Row{URLErrorCode::cannotParseResponse, "cannot parse response"},
    Row{URLErrorCode::appTransportSecurityRequiresSecureConnection,
        "The resource could not be loaded because the App Transport Security policy requires the use of a secure "
        "connection."},
    Row{URLErrorCode::dataLengthExceedsMaximum, "resource exceeds maximum size"},
    Row{URLErrorCode::secureConnectionFailed,
        "An SSL error has occurred and a secure connection to the server cannot be made."},
    Row{URLErrorCode::serverCertificateHasBadDate, "The certificate for this server has expired."},
    Row{URLErrorCode::serverCertificateUntrusted, "The certificate for this server is invalid."},
};

struct Verdict {
  int result;
  URLErrorCode code;
  std::string_view text;
};

constexpr std::string_view weakKey = "is invalid: a key is neither RSA with 2048 bits or more nor ECC with 256.";

// The codes of OpenSSL that verifyServer() returns. The platform has one code for both kinds of wrong date.
constexpr std::array verdicts{
    Verdict{X509_V_ERR_CERT_HAS_EXPIRED, URLErrorCode::serverCertificateHasBadDate, "has expired."},
    Verdict{X509_V_ERR_CERT_NOT_YET_VALID, URLErrorCode::serverCertificateHasBadDate, "is not yet valid."},
    Verdict{X509_V_ERR_HOSTNAME_MISMATCH, URLErrorCode::serverCertificateUntrusted,
            "is invalid: it names no host in a subject alternative name."},
    Verdict{X509_V_ERR_INVALID_PURPOSE, URLErrorCode::serverCertificateUntrusted,
            "is invalid: an extended key usage does not allow server authentication."},
    Verdict{X509_V_ERR_APPLICATION_VERIFICATION, URLErrorCode::serverCertificateUntrusted,
            "is invalid: it is valid for more than 825 days."},
    Verdict{X509_V_ERR_EE_KEY_TOO_SMALL, URLErrorCode::serverCertificateUntrusted, weakKey},
    Verdict{X509_V_ERR_CA_KEY_TOO_SMALL, URLErrorCode::serverCertificateUntrusted, weakKey},
    Verdict{X509_V_ERR_CA_MD_TOO_WEAK, URLErrorCode::serverCertificateUntrusted,
            "is invalid: a signature is not made with SHA-2."},
};

URLErrorCode codeOf(CURLcode result) {
  switch (result) {
    case CURLE_URL_MALFORMAT: return URLErrorCode::badURL;
    case CURLE_COULDNT_RESOLVE_HOST: return URLErrorCode::cannotFindHost;
    case CURLE_COULDNT_CONNECT: return URLErrorCode::cannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT: return URLErrorCode::timedOut;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR: return URLErrorCode::networkConnectionLost;
    case CURLE_UNSUPPORTED_PROTOCOL:  // a response that is not HTTP
    case CURLE_WEIRD_SERVER_REPLY: return URLErrorCode::cannotParseResponse;
    case CURLE_OUT_OF_MEMORY:  // libcurl's code for a line of the head that is longer than 100 KB
      return URLErrorCode::dataLengthExceedsMaximum;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER: return URLErrorCode::secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION: return URLErrorCode::serverCertificateUntrusted;
    default: return URLErrorCode::unknown;
  }
}

}  // namespace

platform::Error urlError(URLErrorCode code, const std::optional<platform::URL>& failingURL) {
  return urlError(code, failingURL, std::ranges::find(texts, code, &Row::code)->text);
}

platform::Error urlError(URLErrorCode code, const std::optional<platform::URL>& failingURL, std::string text) {
  const platform::Value::Entry description{"NSLocalizedDescription", text};
  platform::Value userInfo =
      failingURL
          ? platform::Value::dictionary({{"NSErrorFailingURLStringKey", failingURL->absoluteString()}, description})
          : platform::Value::dictionary({description});
  return {std::string(platform::urlErrorDomain), static_cast<int>(code), std::move(text), std::move(userInfo)};
}

platform::Error transferError(CURLcode result, int verifyResult, const std::optional<platform::URL>& failingURL) {
  const URLErrorCode code = codeOf(result);
  const bool isSecurity =
      code == URLErrorCode::serverCertificateUntrusted || code == URLErrorCode::secureConnectionFailed;
  if (!isSecurity || verifyResult == X509_V_OK) return urlError(code, failingURL);
  const auto* const row = std::ranges::find(verdicts, verifyResult, &Verdict::result);
  if (row == verdicts.end()) return urlError(URLErrorCode::serverCertificateUntrusted, failingURL);
  return urlError(row->code, failingURL, "The certificate for this server " + std::string(row->text));
}

}  // namespace services
