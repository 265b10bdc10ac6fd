#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A URL or relative reference, kept as its text.
class URL {
 public:
  /// Text that RFC 3986 allows stays as it is. Other text depends on the release of the platform that the application
  /// was linked with. From 17 on it is percent-encoded, a host encoded by IDNA; it gives nothing only if that does not
  /// make it valid. A component with a character that must be encoded is encoded whole: each "%" in it becomes "%25",
  /// also at the start of a valid escape. Before 17, other text gives nothing. The empty text gives nothing in any
  /// release.
  static std::optional<URL> URLWithString(std::string_view text);

  [[nodiscard]] const std::string& absoluteString() const noexcept { return text_; }

 private:
  explicit URL(std::string_view text) : text_(text) {}
  std::string text_;
};

}  // namespace platform
