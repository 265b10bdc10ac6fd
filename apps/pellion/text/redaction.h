#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/value.h"

namespace pellion {

/// Masks the value of a field that authorizes, whatever its scheme: "Digest abcd… (24 characters)".
std::string maskedCredentials(std::string_view value);

/// Reduces every bearer token in the text to its first characters and its length: "Bearer tok-… (24 characters)".
std::string maskedBearer(std::string_view text);

/// The URLs in the text without user name and password.
std::string withoutUserInfo(std::string_view text);

/// Removes secrets from everything that is shown or traced: known secrets, wherever they occur, and the user
/// information of URLs.
class Redaction {
 public:
  /// A secret of less than six characters stays: it would also match within ordinary words.
  explicit Redaction(const std::vector<std::string>& secrets);
  [[nodiscard]] std::string text(std::string_view text) const;
  /// Redacts all the texts in the value, names included.
  [[nodiscard]] platform::Value value(const platform::Value& value) const;

 private:
  struct Secret {
    std::string text;
    std::string mask;
  };
  std::vector<Secret> secrets_;  ///< as they are and as JSON and descriptions escape them, longer ones first
};

}  // namespace pellion
