#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A URL or relative reference, kept as the text it was made from.
class URL {
 public:
  /// Strictly RFC 3986: nothing is percent-encoded for the caller; text outside the grammar (the empty text included)
  /// gives nothing.
  static std::optional<URL> URLWithString(std::string_view text);

  [[nodiscard]] const std::string& absoluteString() const noexcept { return text_; }

 private:
  explicit URL(std::string_view text) : text_(text) {}
  std::string text_;
};

}  // namespace platform
