#include "tests/support/phone.h"

#include <fstream>
#include <mutex>
#include <utility>

#include "foundation/objc/guarded.h"
#include "platform/block.h"
#include "platform/dispatch.h"
#include "platform/object_messages.h"
#include "tests/support/foundation/core_library.h"
#include "tests/support/log_line.h"
#include "tests/support/loopback_server.h"
#include "tests/support/platform_process.h"
#include "tests/support/temporary_directory.h"

// The system's part, which examples/objc_app/uikit plays.
extern "C" {

extern id NSLocalizedDescriptionKey;
void UISystemSetListener(id listener);
void UISystemDeliverDeviceToken(id token);
void UISystemFailToRegister(id error);
void UISystemDeliverInBackground(id userInfo);
void UISystemDeliverInForeground(id userInfo);
void UISystemDeliverResponse(id userInfo, id actionIdentifier);

}  // extern "C"

namespace test {
namespace {

using platform::Strong;
using platform::Value;

id classNamed(const char* name) { return platform::classObject(objc_getClass(name)); }
template <class... A>
id make(const char* className, const char* selector, A... arguments) {
  return platform::send<id(A...)>(classNamed(className), sel_registerName(selector), arguments...);
}

}  // namespace

struct Phone::State {
  State() {
    const std::string path = directory.path() / "PellionInfo.plist";
    std::ofstream(path) << "<plist version=\"1.0\"><dict><key>SERVER_URL</key><string>" << server.url("")
                        << "</string></dict></plist>";
    installCoreLibrary(path);
    const platform::Block<void(id, id)> listener([this](id what, id details) {
      events.emplace_back(platform::unboxed(what)->text(), platform::unboxed(details).value_or(Value()));
    });
    UISystemSetListener(platform::blockId(listener.get()));
  }
  ~State() { UISystemSetListener(nullptr); }

  TemporaryDirectory directory;
  LoopbackServer server{[](const auto&) { return LoopbackServer::Reply{"", LoopbackServer::Then::hold}; }};
  PlatformProcess process;
  std::vector<std::pair<std::string, Value>> events;  // of the main thread
};

Phone::Phone() : state_(std::make_unique<State>()) {}
Phone::~Phone() = default;

void Phone::run(const std::function<void()>& work) {
  work();
  // Work of the queue may add work, rarely more than twice.
  for (int i = 0; i < 3; ++i) {
    bool isTurned = false;
    platform::dispatchAsyncOnMainQueue([&] { isTurned = true; });
    state_->process.runUntil([&] { return isTurned; });
  }
}

std::vector<std::string> Phone::takeLog() {
  std::vector<std::string> texts;
  for (LoggedLine& each : takeLoggedLines()) texts.push_back(std::move(each.text));
  return texts;
}
std::vector<std::string> Phone::takeLines() {
  std::vector<std::string> lines;
  for (const LoggedLine& each : takeLoggedLines()) {
    lines.push_back(logLine(each.tag, each.function, each.marker, each.text));
  }
  return lines;
}

std::vector<Value> Phone::take(std::string_view what) {
  const char* const key = what == "fetched" ? "result" : "number";
  std::vector<Value> found;
  std::erase_if(state_->events, [&](const auto& event) {
    if (event.first != what) return false;
    found.push_back(Value::dictionary({{key, event.second}}));
    return true;
  });
  return found;
}

std::vector<Value> Phone::takeEntries() {
  std::vector<Value> entries;
  for (const Value& sent : takePayloads()) {
    const auto stats = sent.find("pnstats")->elements();
    entries.insert(entries.end(), stats.begin(), stats.end());
  }
  return entries;
}

id sharedApplication() { return make("UIApplication", "sharedApplication"); }
id currentNotificationCenter() { return make("UNUserNotificationCenter", "currentNotificationCenter"); }
Strong makeNotification(const Value& userInfo) {
  return make("UNNotification", "notificationWithUserInfo:", platform::boxed(userInfo));
}
Strong makeNotificationResponse(const Value& userInfo, const Value& action) {
  return Strong::adopt(platform::send<id(id, id)>(make("UNNotificationResponse", "alloc"),
                                                  sel_registerName("initWithNotification:actionIdentifier:"),
                                                  makeNotification(userInfo).get(), platform::boxed(action)));
}

void startApplication(const Strong& delegate) {
  static auto& kept = *new std::vector<Strong>;
  kept.push_back(delegate);
  platform::send<void(id)>(sharedApplication(), sel_registerName("setDelegate:"), delegate.get());
}
void deliverDeviceToken(const Value* token) {
  foundation::guarded([&] { UISystemDeliverDeviceToken(platform::boxed(token)); });
}
void failToRegisterForRemoteNotifications(const platform::Error& error) {
  const id info =
      make("NSDictionary", "dictionaryWithObject:forKey:", platform::boxed(Value(error.localizedDescription)),
           NSLocalizedDescriptionKey);
  const id object =
      make("NSError", "errorWithDomain:code:userInfo:", platform::boxed(Value(error.domain)), error.code, info);
  foundation::guarded([&] { UISystemFailToRegister(object); });
}
void deliverInBackground(const Value& userInfo) {
  foundation::guarded([&] { UISystemDeliverInBackground(platform::boxed(userInfo)); });
}
void deliverInForeground(const Value& userInfo) {
  foundation::guarded([&] { UISystemDeliverInForeground(platform::boxed(userInfo)); });
}
void deliverResponse(const Value& userInfo, const Value& action) {
  foundation::guarded([&] { UISystemDeliverResponse(platform::boxed(userInfo), platform::boxed(action)); });
}

}  // namespace test
