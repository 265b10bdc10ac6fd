#include "platform/error.h"

namespace platform {

std::string Error::description() const {
  std::string text = "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" + localizedDescription + "\"";
  if (userInfo.entries().empty()) return text;
  const char* separator = " UserInfo={";
  for (const Value::Entry& entry : userInfo.entries()) {
    text += separator + entry.key.description() + "=" + entry.value.description();
    separator = ", ";
  }
  return text + "}";
}

}  // namespace platform
