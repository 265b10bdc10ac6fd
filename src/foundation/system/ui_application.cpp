#include "platform/ui_application.h"

#include "foundation/objc/guarded.h"
#include "foundation/system/url_object.h"
#include "platform/reference.h"
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

/// An application never receives nil for a URL that Foundation does not make: such a URL cannot be opened.
bool canOpenURL(const URL& url) {
  const AutoreleasePool pool;
  const id object = urlObject(url);
  return object != nullptr && send<bool(id)>(sharedApplication(), sel_registerName("canOpenURL:"), object);
}

void openURL(const URL& url) {
  const AutoreleasePool pool;
  const id object = urlObject(url);
  if (object == nullptr) return;
  send<void(id, id, BlockPtr<void(bool)>)>(sharedApplication(), sel_registerName("openURL:options:completionHandler:"),
                                           object, boxed(Value::dictionary({})), nullptr);
}

}  // namespace platform::UIApplication
