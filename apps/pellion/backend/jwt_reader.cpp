#include "pellion/backend/jwt_reader.h"

#include <libdeflate.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include "pellion/text/json_reader.h"

namespace pellion {
namespace {

using platform::Value;

// The limit of an uncompressed body too. A list of small numbers takes a hundred times the memory of its text.
constexpr std::size_t largestContent = 1U << 20;

std::optional<Value> jsonOf(std::string_view text) {
  try {
    return readJSON("", text).value;
  } catch (const InputError&) {
    return std::nullopt;
  }
}

bool isSignedWith(const std::string& secret, std::string_view signedText, std::string_view signature) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> expected{};
  unsigned length = 0;
  HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
       reinterpret_cast<const unsigned char*>(signedText.data()), signedText.size(), expected.data(), &length);
  return signature.size() == length && CRYPTO_memcmp(expected.data(), signature.data(), length) == 0;
}

/// Sets whether the signature is verified; returns the step that says so.
DecodedBody::Step signatureStep(const Value& header, const std::optional<std::string>& secret,
                                std::string_view signedText, std::string_view signature, bool& isVerified) {
  const Value* algorithm = header.find("alg");
  if (algorithm == nullptr || *algorithm != Value("HS256")) {
    return {"JWT signed with " + (algorithm == nullptr ? "no \"alg\"" : algorithm->description()) +
                "; the backend verifies only HS256",
            true};
  }
  if (!secret) return {"JWT, HS256; signature not checked, because no secret was given"};
  isVerified = isSignedWith(*secret, signedText, signature);
  if (!isVerified) return {"JWT, HS256; the signature does not match the secret", true};
  return {"JWT, HS256, signature verified"};
}

/// Replaces the content with the token's payload.
void openJWT(DecodedBody& body, const std::optional<std::string>& secret) {
  const std::string_view token = body.content;
  const std::size_t first = token.find('.');
  const std::size_t second = first == std::string_view::npos ? std::string_view::npos : token.find('.', first + 1);
  if (second == std::string_view::npos || token.find('.', second + 1) != std::string_view::npos) {
    body.steps.push_back({"not a JWT: it does not have three parts with dots between them", true});
    return;
  }
  const auto header = base64URLDecoded(token.substr(0, first));
  auto payload = base64URLDecoded(token.substr(first + 1, second - first - 1));
  const auto signature = base64URLDecoded(token.substr(second + 1));
  const std::optional<Value> fields = header ? jsonOf(*header) : std::nullopt;
  if (!payload || !signature || !fields) {
    const char* part = !fields    ? "header is not JSON in base64url"
                       : !payload ? "payload is not base64url"
                                  : "signature is not base64url";
    body.steps.push_back({"not a JWT: its " + std::string(part), true});
    return;
  }
  body.isJWT = true;
  body.steps.push_back(signatureStep(*fields, secret, token.substr(0, second), *signature, body.isVerified));
  body.content = std::move(*payload);
}

void openGzip(DecodedBody& body) {
  const std::string& packed = body.content;
  if (!packed.starts_with("\x1f\x8b")) return;
  // The last four bytes give the uncompressed size; they are trusted up to a limit.
  constexpr std::size_t smallest = 18;  // header and trailer
  std::size_t size = 0;
  for (std::size_t i = 0; i < 4 && packed.size() >= smallest; ++i)
    size = size << 8 | static_cast<std::uint8_t>(packed[packed.size() - 1 - i]);
  if (size > largestContent) {
    body.steps.push_back({"gzip too large: its trailer gives " + std::to_string(size) + " bytes; the limit is " +
                              std::to_string(largestContent),
                          true});
    return;
  }
  const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  std::string content(size, '\0');
  const libdeflate_result result = libdeflate_gzip_decompress(decompressor.get(), packed.data(), packed.size(),
                                                              content.data(), content.size(), nullptr);
  if (result != LIBDEFLATE_SUCCESS) {
    const bool isTooLarge = result == LIBDEFLATE_INSUFFICIENT_SPACE;
    body.steps.push_back({isTooLarge ? "gzip too large: it contains more than the " + std::to_string(size) +
                                           " bytes that its trailer gives"
                                     : "gzip is damaged or truncated",
                          true});
    return;
  }
  body.isGzip = true;
  body.steps.push_back({"gzip, " + std::to_string(packed.size()) + " to " + std::to_string(size) + " bytes"});
  body.content = std::move(content);
}

void readContent(DecodedBody& body) {
  try {
    body.json = readJSON("content", body.content).value;
  } catch (const InputError& error) {
    body.steps.push_back({error.what(), true});
  }
}

}  // namespace

std::optional<std::string> base64URLDecoded(std::string_view text) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  if (text.size() % 4 == 1) return std::nullopt;
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char character : text) {
    const std::size_t digit = alphabet.find(character);
    if (digit == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>(bits >> count & 0xFF);
    }
  }
  return bytes;
}

DecodedBody decodeBody(std::string_view body, const std::optional<std::string>& secret) {
  DecodedBody decoded;
  decoded.content = body;
  openJWT(decoded, secret);
  openGzip(decoded);
  readContent(decoded);
  return decoded;
}

}  // namespace pellion
