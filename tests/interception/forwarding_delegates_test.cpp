// Delegates whose class has no method for a callback, in each way in which the platform lets an object receive it.

#include "platform/object_messages.h"
#include "tests/interception/interception_fixture.h"

namespace {

using namespace testing;
using namespace test;
using platform::send;
using platform::Strong;

struct Worker {
  Strong object;
  static id shared() { return platform::Process::shared<Worker>().object.get(); }
};

id workersSignature(id, SEL question, SEL selector) { return send<id(SEL)>(Worker::shared(), question, selector); }
void invokeOnWorker(id, SEL, id invocation) { send<void(id)>(invocation, sel("invokeWithTarget:"), Worker::shared()); }
bool workerResponds(id, SEL, SEL selector) { return platform::respondsToSelector(Worker::shared(), selector); }
id workerAsTarget(id, SEL, SEL) { return Worker::shared(); }
bool resolveFromWorker(id self, SEL, SEL selector) {
  const Method method = class_getInstanceMethod(objc_getClass("Worker"), selector);
  return class_addMethod(reinterpret_cast<Class>(self), selector, method_getImplementation(method),
                         method_getTypeEncoding(method));
}

void forwardToTarget(Class cls) {
  addMethod(cls, "forwardingTargetForSelector:", workerAsTarget);
  addMethod(cls, "respondsToSelector:", workerResponds);
}
void forwardAsProxy(Class cls) {
  addMethod(cls, "methodSignatureForSelector:", workersSignature);
  addMethod(cls, "forwardInvocation:", invokeOnWorker);
}
void forwardInvocations(Class cls) {
  forwardAsProxy(cls);
  addMethod(cls, "respondsToSelector:", workerResponds);
}
void resolve(Class cls) {
  addMethod(object_getClass(platform::classObject(cls)), "resolveInstanceMethod:", resolveFromWorker);
}

Class workerClass() {
  const Class cls = centerDelegateClass<'W'>("Worker");
  class_addProtocol(cls, objc_getProtocol("UIApplicationDelegate"));
  addMethod<&noteToken<'W'>>(cls, didRegister);
  return cls;
}

struct Way {
  const char* name;
  const char* root;
  void (*install)(Class cls);
  bool isOwn;  ///< the class gets a method of its own, which is called after the module
};

void PrintTo(const Way& way, std::ostream* out) { *out << way.name; }
class ForwardingDelegates : public Interception, public WithParamInterface<Way> {
 protected:
  static Class delegateClass() {
    platform::Process::shared<Worker>().object = makeInstance(workerClass());
    const Class cls = makeClass("Delegate", objc_getClass(GetParam().root));
    for (const char* protocol : {"UIApplicationDelegate", "UNUserNotificationCenterDelegate"}) {
      class_addProtocol(cls, objc_getProtocol(protocol));
    }
    GetParam().install(cls);
    return cls;
  }
  void deliverToken(const char* text) {
    const platform::Value token = platform::Value::bytes(text);
    deliverDeviceToken(&token);
  }
  static std::vector<std::string> orNothing(bool isCalled, const char* call) {
    return isCalled ? std::vector<std::string>{call} : std::vector<std::string>{};
  }
};

TEST_P(ForwardingDelegates, AreIntercepted) {
  const Way& way = GetParam();
  const Class cls = delegateClass();
  const Strong application = makeInstance(cls);
  const Strong center = makeInstance(cls);
  setAppDelegate(application.get());
  setCenterDelegate(center.get());
  deliverToken("\x01");
  present();
  EXPECT_THAT(takeCalls(), ElementsAre("W token {length = 1, bytes = 0x01}", "W present after (null)"));

  PLMessaging::startService();
  deliverToken("\x02");
  EXPECT_EQ(takeCalls(), orNothing(way.isOwn, "W token {length = 1, bytes = 0x02}"));
  EXPECT_EQ(PLMessaging::shared().APNSToken(), platform::Value::bytes("\x02")) << "the module receives it";
  present();
  EXPECT_EQ(takeCalls(), orNothing(way.isOwn, "W present after 7"));
  EXPECT_THAT(phone_.takeEntries(), SizeIs(1));

  setCenterDelegate(nullptr);
  send<void(id, id, PresentationHandler)>(center.get(), sel(willPresent), nullptr, nullptr, nullptr);
  EXPECT_THAT(takeCalls(), ElementsAre("W present after 7")) << "no longer intercepted";
}

TEST_P(ForwardingDelegates, SayWhatTheirWorkerSays) {
  const Strong application = makeInstance(delegateClass());
  setAppDelegate(application.get());
  PLMessaging::startService();
  EXPECT_EQ(responds(application.get(), didReceive), GetParam().isOwn);
}

INSTANTIATE_TEST_SUITE_P(Ways, ForwardingDelegates,
                         Values(Way{"Target", "NSObject", forwardToTarget, false},
                                Way{"Invocation", "NSObject", forwardInvocations, false},
                                Way{"Proxy", "NSProxy", forwardAsProxy, false},
                                Way{"Resolver", "NSObject", resolve, true}),
                         [](const auto& way) { return std::string(way.param.name); });

}  // namespace
