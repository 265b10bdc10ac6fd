#include "pellion/commands/server_identity.h"

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>

#include "pellion/text/input_error.h"
#include "pellion/text/input_file.h"

namespace pellion {
namespace {

/// Reads the first object of a kind in a PEM text; a key with a passphrase is not read.
template <class Object>
std::unique_ptr<Object, void (*)(Object*)> readPEM(const std::string& text,
                                                   Object* (*read)(BIO*, Object**, pem_password_cb*, void*),
                                                   void (*release)(Object*)) {
  const std::unique_ptr<BIO, int (*)(BIO*)> bytes(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())),
                                                  BIO_free);
  constexpr auto noPassphrase = [](char*, int, int, void*) { return -1; };
  return {read(bytes.get(), nullptr, noPassphrase, nullptr), release};
}

}  // namespace

ServerIdentity readServerIdentity(const std::string& certificateFile, const std::string& keyFile) {
  constexpr std::size_t largest = 1U << 20;
  ServerIdentity identity{
      readInputFile(certificateFile, {"a certificate in PEM", "a certificate is a few KiB", largest}),
      readInputFile(keyFile, {"a key in PEM", "a key is a few KiB", largest})};
  const auto certificate = readPEM(identity.certificate, PEM_read_bio_X509, X509_free);
  if (certificate == nullptr) {
    throw InputError(inputName(certificateFile) + ": holds no certificate in PEM; give --tls the certificate first");
  }
  const auto key = readPEM(identity.key, PEM_read_bio_PrivateKey, EVP_PKEY_free);
  if (key == nullptr) {
    throw InputError(inputName(keyFile) + ": holds no private key in PEM, or one with a passphrase; give --tls the " +
                     "certificate, then its key without a passphrase");
  }
  if (X509_check_private_key(certificate.get(), key.get()) != 1) {
    throw InputError(inputName(keyFile) + ": not the key of the certificate in " + inputName(certificateFile) +
                     "; give the key that it was made with");
  }
  return identity;
}

}  // namespace pellion
