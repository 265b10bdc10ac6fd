#include "pellion/lab_server/lab_page.h"

#include <libdeflate.h>

#include <memory>
#include <stdexcept>

#include "value/ascii.h"

namespace pellion {

std::string decompressed(std::string_view gzip) {
  // The last four bytes are the size of the content, the least significant one first (RFC 1952, 2.3.1).
  std::size_t size = 0;
  for (std::size_t i = 1; i <= 4 && i <= gzip.size(); ++i) {
    size = size << 8U | static_cast<unsigned char>(gzip[gzip.size() - i]);
  }
  std::string content(size, '\0');
  const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  if (libdeflate_gzip_decompress(decompressor.get(), gzip.data(), gzip.size(), content.data(), size, nullptr) !=
      LIBDEFLATE_SUCCESS) {
    throw std::runtime_error("a file of the page is damaged in this build; build it again");
  }
  return content;
}

bool acceptsGzip(std::string_view acceptEncoding) {
  while (!acceptEncoding.empty()) {
    std::string item;
    const std::string_view part = acceptEncoding.substr(0, acceptEncoding.find(','));
    acceptEncoding.remove_prefix(std::min(acceptEncoding.size(), part.size() + 1));
    for (const char character : value::asciiLowercase(part)) {
      if (character != ' ' && character != '\t') item += character;
    }
    if (item == "gzip") return true;
    if (item.starts_with("gzip;q=")) return item.find_first_of("123456789") != std::string::npos;
  }
  return false;
}

}  // namespace pellion
