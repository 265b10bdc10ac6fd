#include "host/objects/nsurl.h"

#include "platform/object_messages.h"
#include "platform/value.h"

namespace host {

void NSURL::defineClass(platform::ClassFace<NSURL>& face) {
  face.method<&NSURL::absoluteString>("absoluteString").method<&NSURL::absoluteString>("description");
}

id NSURL::absoluteString() const { return platform::boxed(platform::Value(text_)); }

std::string NSURL::textOf(id url) {
  const auto text = platform::unboxed(platform::property(url, "absoluteString"));
  return text ? std::string(text->text()) : std::string();
}

}  // namespace host
