#include "services/jwt.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <array>
#include <limits>

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
  unsigned int length = 0;
  const platform::ByteView signedPart = bytesOf(token);
  if (HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()), signedPart.data(), signedPart.size(),
           signature.data(), &length) == nullptr) {
    return std::nullopt;
  }
  token.push_back('.');
  appendBase64URL(token, {signature.data(), length});
  return token;
}

}  // namespace services
