#include "tests/support/foundation/core_library.h"

#include <unistd.h>

#include <cstdarg>
#include <map>
#include <mutex>
#include <utility>

#include "platform/block.h"
#include "platform/reference.h"
#include "platform/send.h"
#include "tests/support/runtime_objects.h"

namespace test {
namespace {

using platform::Value;
using TextHandler = platform::BlockPtr<void(id)>;

struct Records {
  std::mutex mutex;
  std::vector<LoggedLine> lines;
  std::vector<Value> payloads;
  std::map<std::string, Value> keychain;
  std::map<std::string, std::string> texts{
      {"appversionid", "A"},
      {"frameworkid", "F"},
      {"mapid", "map"},
      {"apid", "ap"},
      {"portalid", "portal"},
      {"projectid", "project"},
      {"anonid", "ANON"},
      {"getDCLBD", "example.test"},
      {"getQvInfoFilePath", "PellionInfo"},
      {"extensionAppGroup", "group.test." + std::to_string(getpid())},
  };
};
Records& records() {
  static auto& all = *new Records;  // handlers of requests may run until the program ends
  return all;
}

std::string textOf(id string) { return std::string(platform::unboxed(string)->text()); }

id shared(id self, SEL) { return objc_autorelease(class_createInstance(reinterpret_cast<Class>(self), 0)); }
id textNamed(id, SEL selector) { return platform::boxed(Value(records().texts.at(sel_getName(selector)))); }
bool no(id, SEL) { return false; }
void passDevice(id, SEL, TextHandler handler) { platform::invoke(handler, platform::boxed(Value("D"))); }
void passToken(id, SEL, TextHandler handler) { platform::invoke(handler, platform::boxed(Value("bearer"))); }
void passVersion(id, SEL, TextHandler success, TextHandler) { platform::invoke(success, platform::boxed(Value("A"))); }
id meta(id, SEL) { return platform::boxed(Value::dictionary({{"os", "test"}})); }
id pathOfResource(id, SEL, id, id) { return platform::boxed(Value(records().texts.at("path"))); }
id encoded(id, SEL, id payload) {
  const std::lock_guard lock(records().mutex);
  records().payloads.push_back(*platform::unboxed(payload));
  return platform::boxed(Value::bytes("dictionary"));
}
id keychainData(id, SEL, id key) {
  const std::lock_guard lock(records().mutex);
  const auto found = records().keychain.find(textOf(key));
  return found == records().keychain.end() ? nullptr : platform::boxed(found->second);
}
void setKeychainData(id, SEL, id data, id key) {
  const std::lock_guard lock(records().mutex);
  records().keychain.insert_or_assign(textOf(key), *platform::unboxed(data));
}
std::int64_t timeInLong(id, SEL) { return 1; }

void log(const char* function, id marker, id tag, id text) {
  const std::lock_guard lock(records().mutex);
  records().lines.push_back({textOf(tag), function, textOf(marker), textOf(text)});
}

}  // namespace

// One class has all methods; the core library's classes inherit them.
void installCoreLibrary(const std::string& path) {
  records().texts["path"] = path;
  const Class base = makeClass("TestCoreLibrary");
  const Class metaclass = object_getClass(platform::classObject(base));
  for (const char* selector : {"getInstance", "sharedInstance", "sharedManager", "getMainBundle",
                               "sharedManagerForDevice", "sharedManagerForAnonymousUser"}) {
    addMethod(metaclass, selector, shared);
  }
  for (const auto& [selector, text] : records().texts) addMethod(base, selector.c_str(), textNamed);
  for (const char* selector : {"isAnonymousUser", "enableAnonymousTracking", "enableGzip"}) {
    addMethod(base, selector, no);
  }
  addMethod<&passDevice>(base, "newRegisterDevice:");
  addMethod<&passToken>(base, "getTokenWithSuccess:");
  addMethod(base, "pathForResource:ofType:", pathOfResource);
  addMethod(base, "encodeWithJWT:", encoded);
  addMethod<&passVersion>(metaclass, "getAppVersionIDWithSuccess:failure:");
  addMethod(metaclass, "appMeta", meta);
  addMethod(metaclass, "dataForKey:", keychainData);
  addMethod(metaclass, "setData:forKey:", setKeychainData);
  addMethod(metaclass, "getTimeinLong", timeInLong);
  for (const char* name : {"Analytics", "PLAAAUtil", "PLBundle", "PLJWTWrapper", "QVFileManager", "QVKeyChainWrapper",
                           "QVPIIManager", "QVSystemInfo", "QVSystemProperties"}) {
    makeClass(name, base);
  }
}

std::vector<LoggedLine> takeLoggedLines() {
  const std::lock_guard lock(records().mutex);
  return std::exchange(records().lines, {});
}
std::vector<Value> takePayloads() {
  const std::lock_guard lock(records().mutex);
  return std::exchange(records().payloads, {});
}

}  // namespace test

// The core library's log functions. The backend passes one text, with the format "%@".
extern "C" {

void QLogExtensionInternal(const char* file, int line, const char* function, id marker, id tag, id format, ...);
void QLogExtension(const char* file, int line, const char* function, id marker, id tag, id format, ...);

void QLogExtensionInternal(const char* /*file*/, int /*line*/, const char* function, id marker, id tag, id format,
                           ...) {
  va_list arguments;
  va_start(arguments, format);
  test::log(function, marker, tag, va_arg(arguments, id));
  va_end(arguments);
}
void QLogExtension(const char* /*file*/, int /*line*/, const char* function, id marker, id tag, id format, ...) {
  va_list arguments;
  va_start(arguments, format);
  test::log(function, marker, tag, va_arg(arguments, id));
  va_end(arguments);
}

}  // extern "C"
