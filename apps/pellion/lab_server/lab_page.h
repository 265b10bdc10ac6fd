#pragma once

#include <span>
#include <string>
#include <string_view>

namespace pellion {

/// A file of the page, compressed.
struct LabPageFile {
  std::string_view path;  ///< "/" for the page itself
  std::string_view type;  ///< Content-Type
  std::string_view gzip;
};

/// The page that is built into the program; empty in a build without it.
std::span<const LabPageFile> builtInLabPage();

/// Throws std::runtime_error for bytes that are no gzip.
std::string decompressed(std::string_view gzip);

/// Whether a client with this Accept-Encoding takes gzip.
bool acceptsGzip(std::string_view acceptEncoding);

}  // namespace pellion
