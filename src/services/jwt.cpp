#include "services/jwt.h"

#include <openssl/evp.h>
#include <openssl/params.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>

namespace services {
namespace {

platform::ByteView bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Base64url of RFC 4648, section 5, without padding.
void appendBase64URL(std::string& out, platform::ByteView data) {
  const std::size_t start = out.size();
  out.resize(start + 4 * ((data.size() + 2) / 3) + 1);  // the encoder ends with a NUL
  const int written =
      EVP_EncodeBlock(reinterpret_cast<std::uint8_t*>(out.data() + start), data.data(), static_cast<int>(data.size()));
  out.resize(start + static_cast<std::size_t>(written));
  while (!out.empty() && out.back() == '=') out.pop_back();
  for (std::size_t i = start; i < out.size(); ++i) {
    if (out[i] == '+') out[i] = '-';
    if (out[i] == '/') out[i] = '_';
  }
}

struct FreeMAC {
  void operator()(EVP_MAC_CTX* context) const { EVP_MAC_CTX_free(context); }
};
using MAC = std::unique_ptr<EVP_MAC_CTX, FreeMAC>;

/// HMAC with SHA-256, without a key. The look-up of the algorithms takes longer than a short signature, so it is done
/// once in the program.
MAC makeMAC() {
  static EVP_MAC_CTX* const prepared = [] {
    EVP_MAC* const algorithm = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    EVP_MAC_CTX* const context = EVP_MAC_CTX_new(algorithm);
    std::string digest = "SHA256";
    const std::array parameters{OSSL_PARAM_construct_utf8_string("digest", digest.data(), 0),
                                OSSL_PARAM_construct_end()};
    if (context != nullptr) EVP_MAC_CTX_set_params(context, parameters.data());
    EVP_MAC_free(algorithm);
    return context;
  }();
  return MAC(prepared == nullptr ? nullptr : EVP_MAC_CTX_dup(prepared));
}

}  // namespace

std::optional<std::string> signedJWT(std::string_view header, platform::ByteView payload, std::string_view secret) {
  constexpr std::size_t largest = std::numeric_limits<int>::max() / 2;  // its Base64 text fits into an int as well
  if (std::max({header.size(), payload.size(), secret.size()}) > largest) return std::nullopt;
  std::string token;
  token.reserve(2 * (header.size() + payload.size()) + 64);
  appendBase64URL(token, bytesOf(header));
  token.push_back('.');
  appendBase64URL(token, payload);

  std::array<std::uint8_t, EVP_MAX_MD_SIZE> signature{};
  std::size_t length = 0;
  const platform::ByteView signedPart = bytesOf(token);
  const platform::ByteView key = bytesOf(secret);
  const MAC mac = makeMAC();
  if (!mac || EVP_MAC_init(mac.get(), key.data(), key.size(), nullptr) != 1 ||
      EVP_MAC_update(mac.get(), signedPart.data(), signedPart.size()) != 1 ||
      EVP_MAC_final(mac.get(), signature.data(), &length, signature.size()) != 1) {
    return std::nullopt;
  }
  token.push_back('.');
  appendBase64URL(token, {signature.data(), length});
  return token;
}

}  // namespace services
