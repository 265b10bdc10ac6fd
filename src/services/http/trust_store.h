#pragma once

#include <openssl/x509.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace services {

/// The certificate authorities that connections trust: the system's bundle and the policy's PEM file. Each combination
/// is read once, because reading the bundle takes longer than a handshake.
class TrustStores {
 public:
  struct Store {
    std::shared_ptr<X509_STORE> certificates;
    std::string fault;  ///< why the policy's file could not be read; empty on success
  };

  /// `extra` may be empty. Not safe for use from several threads.
  const Store& find(const std::filesystem::path& extra);

 private:
  std::map<std::filesystem::path, Store> stores_;
};

}  // namespace services
