#include "services/http/trust_store.h"

#include <curl/curl.h>
#include <openssl/err.h>

namespace services {

const TrustStores::Store& TrustStores::find(const std::filesystem::path& extra) {
  const auto [place, isNew] = stores_.try_emplace(extra);
  Store& store = place->second;
  if (!isNew) return store;
  store.certificates = {X509_STORE_new(), X509_STORE_free};
  // Without a bundle on this system nothing but the policy's own file is trusted.
  if (const char* bundle = curl_version_info(CURLVERSION_NOW)->cainfo) {
    X509_STORE_load_file(store.certificates.get(), bundle);
  }
  if (!extra.empty() && X509_STORE_load_file(store.certificates.get(), extra.c_str()) != 1) {
    store.fault = "The certificate authorities in " + extra.string() +
                  " cannot be read: a file with certificates in PEM form is expected.";
  }
  ERR_clear_error();
  return store;
}

}  // namespace services
