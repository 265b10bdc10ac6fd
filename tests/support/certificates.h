#pragma once

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// The certificate that a server presents, and the protocols that it supports.
struct Identity {
  std::shared_ptr<X509> certificate;
  std::shared_ptr<EVP_PKEY> key;
  std::string ciphers = "DEFAULT";
  int newestVersion = TLS1_3_VERSION;
};

struct CertificateTerms {
  std::string names = "IP:127.0.0.1";  ///< subject alternative names, as "IP:127.0.0.1,DNS:localhost"; empty for none
  long from = -3600, until = 3600;     ///< seconds from now
  std::string usage = "serverAuth";    ///< extended key usage; empty for none
  EVP_PKEY* (*makeKey)() = [] { return EVP_EC_gen("P-256"); };
  const EVP_MD* digest = EVP_sha256();  ///< of the signature
};

/// A certificate authority that belongs to the test.
class CertificateAuthority {
 public:
  explicit CertificateAuthority(const std::string& name = "Test Authority", const CertificateTerms& terms = {})
      : identity_(make(name, terms, {{NID_basic_constraints, "CA:TRUE"}})) {}

  /// Issues a certificate for a server whose common name is 127.0.0.1.
  [[nodiscard]] Identity issue(const CertificateTerms& terms = {}) const {
    return make("127.0.0.1", terms, {{NID_subject_alt_name, terms.names}, {NID_ext_key_usage, terms.usage}});
  }
  /// Appends to the file.
  void writePEM(const std::filesystem::path& path) const {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "a"), std::fclose);
    PEM_write_X509(file.get(), identity_.certificate.get());
  }

 private:
  [[nodiscard]] Identity make(const std::string& name, const CertificateTerms& terms,
                              const std::vector<std::pair<int, std::string>>& extensions) const {
    Identity made{{X509_new(), X509_free}, {terms.makeKey(), EVP_PKEY_free}};
    X509* const certificate = made.certificate.get();
    const Identity& issuer = identity_.key == nullptr ? made : identity_;
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), &issuer == &made ? 1 : 2);
    std::time_t now = std::time(nullptr);
    X509_time_adj(X509_getm_notBefore(certificate), terms.from, &now);
    X509_time_adj(X509_getm_notAfter(certificate), terms.until, &now);
    X509_set_pubkey(certificate, made.key.get());
    const auto* const text = reinterpret_cast<const unsigned char*>(name.c_str());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC, text, -1, -1, 0);
    X509_set_issuer_name(certificate, X509_get_subject_name(issuer.certificate.get()));
    for (const auto& [id, value] : extensions) {
      if (value.empty()) continue;
      X509_EXTENSION* const added = X509V3_EXT_conf_nid(nullptr, nullptr, id, value.c_str());
      X509_add_ext(certificate, added, -1);
      X509_EXTENSION_free(added);
    }
    X509_sign(certificate, issuer.key.get(), terms.digest);
    return made;
  }

  Identity identity_;
};

}  // namespace test
