#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace services {

/// Its text is one line: the file, the line or key path when it is known, and the problem there.
class PropertyListError : public std::runtime_error {
 public:
  explicit PropertyListError(std::string_view text);
};

/// Far above any application's resource. A larger file is rejected before it is read.
inline constexpr std::size_t largestPropertyList = std::size_t{4} << 20;
inline constexpr std::size_t deepestPropertyList = 512;

/// Reads a property list file, XML or binary, of any top-level kind. Raises PropertyListError.
///
/// A date reads as its text, "2026-01-31T12:00:00Z": Value has no kind for dates, and no code here computes with one.
platform::Value readPropertyList(const std::filesystem::path& path);

/// Does the same for the contents of the file `name`, which errors mention.
platform::Value parsePropertyList(std::string_view contents, std::string_view name);

/// Writes the binary form, which can hold texts that XML cannot. A reader sees the old file or the whole new one; only
/// the owner may read it. Raises PropertyListError as below, and std::filesystem::filesystem_error when the file cannot
/// be written.
void writePropertyList(const std::filesystem::path& path, const platform::Value& value);

/// The binary form, for the file or item `name`, which errors mention. Raises PropertyListError for what no property
/// list can hold (null, an object, a key that is no text, broken UTF-8), and for what is too large or deep to be read.
std::string binaryPropertyList(const platform::Value& value, std::string_view name);

}  // namespace services
