#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace pellion {

/// What is wrong with the text of a click action, whatever the application declares.
struct LinkFault {
  std::string code;
  std::string text;
  std::size_t offset = 0;                     ///< of the character that is wrong, in bytes
  std::optional<std::string> corrected = {};  ///< where only one correction is likely
};

/// The first fault of a text. `isKnown` tells whether something opens a scheme, which is in lower case.
std::optional<LinkFault> linkFault(std::string_view link, const std::function<bool(const std::string&)>& isKnown);

/// The offset of the first character that RFC 3986 does not allow where it stands.
std::optional<std::size_t> wrongCharacter(std::string_view link);

/// The link with exactly the wrong characters percent-encoded and valid escapes kept, a host in its IDNA form; nothing
/// if that makes no URL.
std::optional<std::string> encodedLink(std::string_view link);

/// A placeholder that a template left in a text, such as "{{user}}".
std::optional<std::string_view> unresolvedTemplate(std::string_view text);

}  // namespace pellion
