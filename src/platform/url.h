#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A URL or relative reference, kept as its text.
class URL {
 public:
  /// Text that RFC 3986 allows stays as it is. What becomes of other text depends on the release of the platform that
  /// the application was linked with. From 17 on it is percent-encoded, a host by IDNA, and gives nothing only where
  /// that does not help; a component with a character that must be encoded is encoded whole, so that each "%" in it
  /// becomes
  /// "%25", also where it began a valid escape. Before 17 it gives nothing. The empty text gives nothing in either.
  static std::optional<URL> URLWithString(std::string_view text);

  [[nodiscard]] const std::string& absoluteString() const noexcept { return text_; }

 private:
  explicit URL(std::string_view text) : text_(text) {}
  std::string text_;
};

}  // namespace platform
