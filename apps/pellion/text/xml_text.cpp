#include "pellion/text/xml_text.h"

#include "value/printable_text.h"

namespace pellion {

std::string xmlEscaped(std::string_view text) {
  std::string copy;
  for (std::size_t at = 0; at < text.size(); ++at) {
    switch (text[at]) {
      case '&': copy += "&amp;"; break;
      case '<': copy += "&lt;"; break;
      case '>': copy += "&gt;"; break;
      case '"': copy += "&quot;"; break;
      case '\xEF':  // U+FFFE and U+FFFF are not XML characters
        copy += text.substr(at).starts_with("\xEF\xBF\xBE") || text.substr(at).starts_with("\xEF\xBF\xBF")
                    ? "\uFFFD"
                    : text.substr(at, 3);
        at += 2;
        break;
      default: copy += text[at];
    }
  }
  return copy;
}

std::string xmlAttribute(const char* name, std::string_view value) {
  return std::string(" ") + name + "=\"" + xmlEscaped(value::printable(value)) + '"';
}

}  // namespace pellion
