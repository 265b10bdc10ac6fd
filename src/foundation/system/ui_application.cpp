#include "platform/ui_application.h"

#include "foundation/objc/guarded.h"
#include "foundation/system/url_object.h"
#include "platform/send.h"
#include "platform/value.h"

namespace platform::UIApplication {
namespace {

/// Null in a program without the class, an extension for example.
id sharedApplication() {
  return send<id()>(classObject(objc_getClass("UIApplication")), sel_registerName("sharedApplication"));
}

id urlObject(const URL& url) {
  id object = nullptr;
  foundation::guarded([&] { object = foundation_makeURL(boxed(Value(url.absoluteString()))); });
  return object;
}

}  // namespace

bool canOpenURL(const URL& url) {
  return send<bool(id)>(sharedApplication(), sel_registerName("canOpenURL:"), urlObject(url));
}

void openURL(const URL& url) {
  const id object = urlObject(url);
  if (object == nullptr) return;
  send<void(id, id, BlockPtr<void(bool)>)>(sharedApplication(), sel_registerName("openURL:options:completionHandler:"),
                                           object, boxed(Value::dictionary({})), nullptr);
}

}  // namespace platform::UIApplication
