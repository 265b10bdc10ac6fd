#include "services/http/server_certificate.h"

#include <openssl/x509v3.h>

#include <cstdint>
#include <memory>

namespace services {
namespace {

constexpr int longestValidity = 825;  // days
constexpr int smallestRSAKey = 2048;  // bits
constexpr int smallestECCKey = 256;

/// Without a host in the subject alternative name, libcurl would use the common name.
bool namesHost(const X509* certificate) {
  const std::unique_ptr<GENERAL_NAMES, void (*)(GENERAL_NAMES*)> names(
      static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)),
      GENERAL_NAMES_free);
  for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
    const int type = sk_GENERAL_NAME_value(names.get(), i)->type;
    if (type == GEN_DNS || type == GEN_IPADD) return true;
  }
  return false;
}

bool isForServers(X509* certificate) {
  const std::uint32_t usage = X509_get_extended_key_usage(certificate);
  return usage != UINT32_MAX && (usage & XKU_SSL_SERVER) != 0;  // all bits are set where the extension is missing
}

bool isShortLived(const X509* certificate) {
  int days = 0;
  int seconds = 0;
  return ASN1_TIME_diff(&days, &seconds, X509_get0_notBefore(certificate), X509_get0_notAfter(certificate)) == 1 &&
         (days < longestValidity || (days == longestValidity && seconds == 0));
}

bool hasStrongKey(const X509* certificate) {
  const EVP_PKEY* const key = X509_get0_pubkey(certificate);
  const int bits = EVP_PKEY_get_bits(key);  // 0 without a key that OpenSSL can read
  if (bits >= smallestRSAKey && EVP_PKEY_is_a(key, "RSA") == 1) return true;
  return bits >= smallestECCKey && EVP_PKEY_is_a(key, "EC") == 1;
}

/// The chain begins with the server's own certificate and ends with the root.
int verdict(const STACK_OF(X509) * chain) {
  X509* const own = sk_X509_value(chain, 0);
  if (!namesHost(own)) return X509_V_ERR_HOSTNAME_MISMATCH;
  if (!isForServers(own)) return X509_V_ERR_INVALID_PURPOSE;
  if (!isShortLived(own)) return X509_V_ERR_APPLICATION_VERIFICATION;  // OpenSSL has no code of its own for this
  if (!hasStrongKey(own)) return X509_V_ERR_EE_KEY_TOO_SMALL;
  for (int i = 1; i < sk_X509_num(chain); ++i) {
    if (!hasStrongKey(sk_X509_value(chain, i))) return X509_V_ERR_CA_KEY_TOO_SMALL;
  }
  return X509_V_OK;
}

}  // namespace

int verifyServer(X509_STORE_CTX* certificates) {
  if (X509_verify_cert(certificates) == 1) {
    X509_STORE_CTX_set_error(certificates, verdict(X509_STORE_CTX_get0_chain(certificates)));
  }
  return X509_STORE_CTX_get_error(certificates);
}

}  // namespace services
