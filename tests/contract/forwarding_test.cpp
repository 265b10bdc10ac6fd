#include "platform/invocation.h"
#include "tests/contract/forwarding_fixture.h"

namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(Forwarding, AsksInTheDocumentedOrderAndThenRaises) {
  const auto noteResolver = +[](id, SEL, SEL) {
    note("resolve");
    return false;
  };
  addMethod(object_getClass(platform::classObject(cls)), "resolveInstanceMethod:", noteResolver);
  addMethod(
      cls, "forwardingTargetForSelector:", +[](id, SEL, SEL) {
        note("target");
        return id();
      });
  forwardInvocations("i@:");
  addMethod(other, "answer", answer<4>);
  EXPECT_EQ(ask(object.get()), 4);
  EXPECT_THAT(asked, ElementsAre("resolve", "target", "signature", "invocation"));
  asked.clear();
  types = nullptr;
  EXPECT_THAT(raised([&] { ask(object.get()); }),
              HasSubstr("-[ContractReceiver answer]: unrecognized selector sent to instance"));
  EXPECT_THAT(asked, ElementsAre("resolve", "target", "signature"));
}

TEST_F(Forwarding, PassesArgumentsOfEverySizeAndTheResultThroughAnInvocation) {
  forwardInvocations("d@:Bsfdq@iiii");
  using Mix = double(bool, std::int16_t, float, double, std::int64_t, id, int, int, int, int);
  addMethod(
      other, "a:b:c:d:e:f:g:h:i:j:",
      +[](id, SEL, bool a, std::int16_t b, float c, double d, std::int64_t e, id f, int g, int h, int i, int j) {
        return f == nullptr || !a ? 0 : b + static_cast<double>(c) + d + static_cast<double>(e) + g + h + i + j;
      });
  const auto call = [&] {
    return send<Mix>(object.get(), sel("a:b:c:d:e:f:g:h:i:j:"), true, std::int16_t{-200}, 0.25F, 0.5,
                     std::int64_t{1} << 40, object.get(), 1, 2, 3, -4);
  };
  EXPECT_EQ(call(), -200 + 0.75 + 1099511627776.0 + 2);
  work = [&](id invocation) {
    EXPECT_EQ(send<id()>(invocation, sel("target")), object.get());
    EXPECT_STREQ(sel_getName(send<SEL()>(invocation, sel("selector"))), "a:b:c:d:e:f:g:h:i:j:");
    EXPECT_EQ(argument<std::int16_t>(invocation, 3), -200);
    EXPECT_EQ(argument<float>(invocation, 4), 0.25F);
    EXPECT_EQ(argument<int>(invocation, 11), -4);
    EXPECT_THROW(argument<int>(invocation, 12), platform::Exception);
    double result = 1.5;
    send<void(void*)>(invocation, sel("setReturnValue:"), &result);
  };
  EXPECT_EQ(call(), 1.5);
}

TEST_F(Forwarding, ReturnsEveryKindOfResult) {
  const auto returns = [&]<class R>(const char* signature, R value) {
    work = [&](id invocation) { send<void(void*)>(invocation, sel("setReturnValue:"), &value); };
    types = signature;
    EXPECT_EQ(send<R()>(object.get(), sel("value")), value) << signature;
  };
  forwardInvocations("i@:");
  returns("c@:", std::int8_t{-3});
  returns("S@:", std::uint16_t{65'000});
  returns("i@:", -70'000);
  returns("Q@:", ~std::uint64_t{0});
  returns("B@:", true);
  returns("f@:", 0.5F);
  returns("@@:", object.get());
  work = [](id) {};
  types = "v@:";
  send<void()>(object.get(), sel("value"));
}

TEST_F(Forwarding, AnInvocationThatIsNotInvokedGivesZero) {
  forwardInvocations("i@:");
  work = [](id) {};
  EXPECT_EQ(ask(object.get()), 0);
}

TEST_F(Forwarding, InvocationsAndClassMethodsAreForwardedToo) {
  forwardInvocations("i@:");
  addMethod(other, "answer", answer<4>);
  auto invocation = platform::Invocation::invocationWithObjCTypes("i@:");
  invocation->setTarget(object.get());
  invocation->setSelector(sel("answer"));
  invocation->invoke();
  int result = 0;
  invocation->getReturnValue(&result);
  EXPECT_EQ(result, 4);
  const Class meta = object_getClass(platform::classObject(cls));
  for (const char* method : {"methodSignatureForSelector:", "forwardInvocation:"}) {
    const Method own = class_getInstanceMethod(cls, sel(method));
    class_addMethod(meta, sel(method), method_getImplementation(own), method_getTypeEncoding(own));
  }
  EXPECT_EQ(ask(platform::classObject(cls)), 4);
}

TEST_F(Forwarding, ExceptionsPassAndOtherTypesAreRejected) {
  forwardInvocations("i@:");
  work = [](id) { throw platform::Exception("Own", "reason"); };
  EXPECT_EQ(raised([&] { ask(object.get()); }), "Own: reason");
  EXPECT_THAT(raised([&] { send<void(id)>(object.get(), sel("take:"), nullptr); }),
              HasSubstr("-[ContractReceiver take:]: called as \"v@:@\" but declared as \"i"));
}

TEST_F(Forwarding, ClassAddsTheMissingMethodInItsResolver) {
  const Class meta = object_getClass(platform::classObject(cls));
  addMethod(
      meta, "resolveInstanceMethod:", +[](id self, SEL, SEL selector) {
        const auto receiver = reinterpret_cast<Class>(self);
        return std::string(sel_getName(selector)) == "answer" && addMethod(receiver, "answer", answer<2>);
      });
  addMethod(
      meta, "resolveClassMethod:", +[](id self, SEL, SEL selector) {
        return std::string(sel_getName(selector)) == "answer" && addMethod(object_getClass(self), "answer", answer<3>);
      });
  struct {
    const char* question;
    std::function<bool(Class)> isThere;
  } const cases[] = {
      {"a message", [](Class each) { return ask(makeInstance(each).get()) == 2; }},
      {"respondsToSelector:",
       [](Class each) { return send<bool(SEL)>(makeInstance(each).get(), sel("respondsToSelector:"), sel("answer")); }},
      {"class_getInstanceMethod", [](Class each) { return class_getInstanceMethod(each, sel("answer")) != nullptr; }},
      {"class_getMethodImplementation",
       [](Class each) {
         return class_getMethodImplementation(each, sel("answer")) != class_getMethodImplementation(each, sel("none"));
       }},
      {"a class method", [](Class each) { return ask(platform::classObject(each)) == 3; }},
  };
  int number = 0;
  for (const auto& [question, isThere] : cases) {
    const Class sub = makeClass(("ContractSub" + std::to_string(++number)).c_str(), cls);
    EXPECT_TRUE(isThere(sub)) << question;
    EXPECT_THROW(ask(makeInstance(sub).get(), "other"), platform::Exception);
  }
}

TEST_F(Forwarding, ProxyForwardsNearlyEverything) {
  cls = makeClass("ContractProxy", objc_getClass("NSProxy"));
  const Strong proxy = makeInstance(cls);
  target = makeInstance(makeClass("ContractModel"));
  const Class model = object_getClass(target.get());
  addMethod(model, "answer", answer<4>);
  addMethod(
      model, "isEqual:", +[](id, SEL, id) { return true; });
  addMethod(
      cls, "methodSignatureForSelector:", +[](id, SEL, SEL selector) {
        return send<id(SEL)>(current->target.get(), sel("methodSignatureForSelector:"), selector);
      });
  addMethod(
      cls, "forwardInvocation:", +[](id, SEL, id invocation) {
        note(sel_getName(send<SEL()>(invocation, sel("selector"))));
        send<void(id)>(invocation, sel("invokeWithTarget:"), current->target.get());
      });
  EXPECT_EQ(ask(proxy.get()), 4);
  EXPECT_TRUE(platform::respondsToSelector(proxy.get(), sel("answer")));
  EXPECT_FALSE(platform::respondsToSelector(proxy.get(), sel("missing")));
  EXPECT_TRUE(platform::isKindOfClass(proxy.get(), model));
  EXPECT_TRUE(send<bool(Class)>(proxy.get(), sel("isMemberOfClass:"), model));
  EXPECT_TRUE(platform::conformsToProtocol(proxy.get(), objc_getProtocol("NSObject")));
  EXPECT_THAT(
      asked, ElementsAre("answer", "respondsToSelector:", "isKindOfClass:", "isMemberOfClass:", "conformsToProtocol:"));
  EXPECT_THAT(raised([&] { ask(proxy.get(), "missing"); }),
              HasSubstr("-[ContractProxy missing]: unrecognized selector sent"));
}

TEST_F(Forwarding, ProxyAnswersOfItself) {
  const Class proxyClass = makeClass("ContractProxy", objc_getClass("NSProxy"));
  const Strong proxy = makeInstance(proxyClass);
  EXPECT_EQ(platform::classOf(proxy.get()), proxyClass);
  EXPECT_EQ(send<Class()>(proxy.get(), sel("superclass")), objc_getClass("NSProxy"));
  EXPECT_FALSE(send<bool(id)>(proxy.get(), sel("isEqual:"), target.get()));
  EXPECT_TRUE(send<bool()>(proxy.get(), sel("isProxy")));
  EXPECT_FALSE(send<bool()>(target.get(), sel("isProxy")));
}

}  // namespace
