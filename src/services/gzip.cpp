#include "services/gzip.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>

namespace services {
namespace {

constexpr int highestLevel = 9;

struct FreeCompressor {
  void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};
using Compressor = std::unique_ptr<libdeflate_compressor, FreeCompressor>;

}  // namespace

std::optional<platform::Value> gzip(platform::ByteView data, float level) {
  // Setting up a compressor's tables takes longer than compressing a notification's JSON, so each thread keeps its own.
  thread_local std::array<Compressor, highestLevel + 1> compressors;
  const float fraction = std::isnan(level) ? 0.0F : std::clamp(level, 0.0F, 1.0F);
  const auto index = static_cast<int>(std::lround(fraction * static_cast<float>(highestLevel)));
  Compressor& compressor = compressors.at(static_cast<std::size_t>(index));
  if (!compressor) compressor.reset(libdeflate_alloc_compressor(index));
  if (!compressor) return std::nullopt;

  std::string out(libdeflate_gzip_compress_bound(compressor.get(), data.size()), '\0');
  const std::size_t size = libdeflate_gzip_compress(compressor.get(), data.data(), data.size(), out.data(), out.size());
  if (size == 0) return std::nullopt;
  return platform::Value::bytes(std::string_view(out.data(), size));
}

}  // namespace services
