#pragma once

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

namespace test {

struct Identity {
  std::shared_ptr<X509> certificate;
  std::shared_ptr<EVP_PKEY> key;
};

/// A certificate authority of the test's own.
class CertificateAuthority {
 public:
  explicit CertificateAuthority(std::string name = "Test Authority") : name_(std::move(name)) {
    identity_ = make("CA:TRUE", NID_basic_constraints, -3600, 3600);
  }

  /// `names` as in a subject alternative name: "IP:127.0.0.1,DNS:localhost". Validity in seconds from now.
  [[nodiscard]] Identity issue(const std::string& names, long from = -3600, long until = 3600) const {
    return make(names, NID_subject_alt_name, from, until);
  }
  void writePEM(const std::filesystem::path& path) const {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "w"), std::fclose);
    PEM_write_X509(file.get(), identity_.certificate.get());
  }

 private:
  [[nodiscard]] Identity make(const std::string& extension, int extensionID, long from, long until) const {
    Identity made{{X509_new(), X509_free}, {EVP_EC_gen("P-256"), EVP_PKEY_free}};
    X509* const certificate = made.certificate.get();
    const bool isAuthority = identity_.key == nullptr;
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), isAuthority ? 1 : 2);
    X509_gmtime_adj(X509_getm_notBefore(certificate), from);
    X509_gmtime_adj(X509_getm_notAfter(certificate), until);
    X509_set_pubkey(certificate, made.key.get());
    const auto* const name = reinterpret_cast<const unsigned char*>(isAuthority ? name_.c_str() : "Test Server");
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC, name, -1, -1, 0);
    const X509* const issuer = isAuthority ? certificate : identity_.certificate.get();
    X509_set_issuer_name(certificate, X509_get_subject_name(issuer));
    X509_EXTENSION* const added = X509V3_EXT_conf_nid(nullptr, nullptr, extensionID, extension.c_str());
    X509_add_ext(certificate, added, -1);
    X509_EXTENSION_free(added);
    X509_sign(certificate, isAuthority ? made.key.get() : identity_.key.get(), EVP_sha256());
    return made;
  }

  std::string name_;
  Identity identity_;
};

}  // namespace test
