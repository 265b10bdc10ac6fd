#include "services/http/content_encoding.h"

#include <libdeflate.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "value/ascii.h"

namespace services {
namespace {

using Decoded = std::variant<std::string, DecodingFailure>;

struct FreeDecompressor {
  void operator()(libdeflate_decompressor* decompressor) const { libdeflate_free_decompressor(decompressor); }
};

/// One step of a coding: decodes from the front of `input` and reports how much of input and output it used.
using Decode = libdeflate_result (*)(libdeflate_decompressor* decompressor, const void* input, std::size_t inputSize,
                                     void* output, std::size_t outputSize, std::size_t* used, std::size_t* made);

/// Decodes members until the input is used up. The buffer grows as needed, up to the limit.
Decoded inflateAll(Decode decode, std::string_view input, std::size_t limit) {
  const std::unique_ptr<libdeflate_decompressor, FreeDecompressor> decompressor(libdeflate_alloc_decompressor());
  std::string output(std::min(limit, std::max<std::size_t>(input.size() * 4, 4096)), '\0');
  std::size_t size = 0;
  while (!input.empty()) {
    std::size_t used = 0;
    std::size_t made = 0;
    const libdeflate_result result = decode(decompressor.get(), input.data(), input.size(), output.data() + size,
                                            output.size() - size, &used, &made);
    if (result == LIBDEFLATE_INSUFFICIENT_SPACE) {
      if (output.size() == limit) return DecodingFailure::tooLong;
      output.resize(std::min(limit, output.size() * 4));
    } else if (result != LIBDEFLATE_SUCCESS) {
      return DecodingFailure::broken;
    } else {
      input.remove_prefix(used);
      size += made;
    }
  }
  output.resize(size);
  return output;
}

Decoded decodeOne(std::string body, std::string_view coding, std::size_t limit) {
  if (coding == "gzip" || coding == "x-gzip") return inflateAll(libdeflate_gzip_decompress_ex, body, limit);
  if (coding != "deflate") return body;
  Decoded wrapped = inflateAll(libdeflate_zlib_decompress_ex, body, limit);
  // "deflate" means the zlib format, but some servers send the bare stream.
  if (wrapped != Decoded(DecodingFailure::broken)) return wrapped;
  return inflateAll(libdeflate_deflate_decompress_ex, body, limit);
}

}  // namespace

Decoded decodeContent(std::string body, std::string_view contentEncoding, std::size_t limit) {
  std::string codings = value::asciiLowercase(contentEncoding);
  std::erase_if(codings, [](char c) { return c == ' ' || c == '\t'; });
  // The codings were applied in the order of the list, so the last one is removed first.
  while (!codings.empty() && !body.empty()) {
    const std::size_t comma = codings.rfind(',');
    const std::size_t start = comma == std::string::npos ? 0 : comma + 1;
    Decoded decoded = decodeOne(std::move(body), std::string_view(codings).substr(start), limit);
    if (!std::holds_alternative<std::string>(decoded)) return decoded;
    body = std::get<std::string>(std::move(decoded));
    codings.resize(comma == std::string::npos ? 0 : comma);
  }
  return body;
}

}  // namespace services
