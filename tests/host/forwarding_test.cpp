#include <gmock/gmock.h>

#include "host/objc/runtime_functions.h"
#include "platform/exception.h"
#include "platform/invocation.h"
#include "platform/object_messages.h"
#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

// Messages that the receiver's class has no method for.

namespace {

using namespace test;
using platform::send;
using platform::Strong;
using testing::ElementsAre;
using testing::HasSubstr;

id signatureOf(const char* types) {
  return send<id(const char*)>(platform::classObject(objc_getClass("NSMethodSignature")),
                               sel("signatureWithObjCTypes:"), types);
}
template <class T>
T argument(id invocation, std::int64_t index) {
  T value{};
  send<void(void*, std::int64_t)>(invocation, sel("getArgument:atIndex:"), &value, index);
  return value;
}

class Forwarding : public testing::Test {
 public:
  Forwarding() { current = this; }
  ~Forwarding() override { current = nullptr; }

  /// The receiver's class gets the methods that forward to `target`, with the signature `types`.
  void forwardInvocations(const char* newTypes) {
    types = newTypes;
    addMethod(
        cls, "methodSignatureForSelector:", +[](id, SEL, SEL) {
          current->asked.emplace_back("signature");
          return current->types == nullptr ? nullptr : signatureOf(current->types);
        });
    addMethod(
        cls, "forwardInvocation:", +[](id, SEL, id invocation) {
          current->asked.emplace_back("invocation");
          if (current->work) return current->work(invocation);
          send<void(id)>(invocation, sel("invokeWithTarget:"), current->target.get());
        });
  }

  static inline Forwarding* current = nullptr;
  TestProcess process;
  const platform::AutoreleasePool pool;
  Class cls = makeClass("Receiver");
  Class other = makeClass("Target");
  Strong object = makeInstance(cls);
  Strong target = makeInstance(other);
  const char* types = nullptr;
  std::vector<std::string> asked;
  std::function<void(id)> work;
};

TEST_F(Forwarding, AsksInTheDocumentedOrderAndThenRaises) {
  const auto note = +[](id, SEL, SEL) {
    current->asked.emplace_back("resolve");
    return false;
  };
  addMethod(object_getClass(platform::classObject(cls)), "resolveInstanceMethod:", note);
  addMethod(
      cls, "forwardingTargetForSelector:", +[](id, SEL, SEL) {
        current->asked.emplace_back("target");
        return id();
      });
  forwardInvocations("i@:");
  addMethod(other, "answer", answer<4>);
  EXPECT_EQ(ask(object.get()), 4);
  EXPECT_THAT(asked, ElementsAre("resolve", "target", "signature", "invocation"));
  asked.clear();
  types = nullptr;
  EXPECT_THAT(raised([&] { ask(object.get()); }),
              HasSubstr("-[Receiver answer]: unrecognized selector sent to instance"));
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
    EXPECT_EQ(send<SEL()>(invocation, sel("selector")), sel("a:b:c:d:e:f:g:h:i:j:"));
    EXPECT_EQ(argument<std::int16_t>(invocation, 3), -200);
    EXPECT_EQ(argument<float>(invocation, 4), 0.25F);
    EXPECT_EQ(argument<int>(invocation, 11), -4);
    EXPECT_THAT(raised([&] { argument<int>(invocation, 12); }), HasSubstr("index (12) out of bounds [0, 11]"));
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
  types = "i@:";
  EXPECT_EQ(ask(object.get()), 0) << "an invocation that is not invoked gives zero";
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
  EXPECT_EQ(raised([&] { send<void(id)>(object.get(), sel("take:"), nullptr); }),
            "NSInvalidArgumentException: -[Receiver take:]: called as \"v@:@\" but declared as \"i@:\"");
  work = [](id) { ask(current->object.get()); };
  EXPECT_THAT(raised([&] { ask(object.get()); }), HasSubstr("forwarded inside of its own forwarding"));
}

TEST_F(Forwarding, RootsRefuseWhatNoMethodForwards) {
  types = "i@:";
  addMethod(
      cls, "methodSignatureForSelector:", +[](id, SEL, SEL) { return signatureOf("i@:"); });
  EXPECT_THAT(raised([&] { ask(object.get()); }), HasSubstr("-[Receiver answer]: unrecognized selector sent"))
      << "the root's forwardInvocation:";
  addMethod(
      cls, "doesNotRecognizeSelector:", +[](id, SEL, SEL selector) {
        throw platform::Exception("Own", sel_getName(selector));
      });
  EXPECT_EQ(raised([&] { ask(object.get()); }), "Own: answer");
  EXPECT_THAT(raised([&] { ask(platform::classObject(makeClass("Bare", nullptr))); }),
              HasSubstr("+[Bare answer]: unrecognized selector sent to class"));
}

TEST_F(Forwarding, MarkerInTheClassOrCalledDirectlyForwards) {
  forwardInvocations("i@:");
  addMethod(other, "answer", answer<4>);
  addMethod(cls, "answer", answer<1>);
  const IMP marker = class_getMethodImplementation(cls, sel("missing"));
  method_setImplementation(class_getInstanceMethod(cls, sel("answer")), marker);
  EXPECT_EQ(ask(object.get()), 4);
  EXPECT_EQ(platform::callImplementation<int()>(marker, object.get(), sel("answer")), 4);
  types = "d@:";
  EXPECT_THAT(raised([&] { platform::callImplementation<double()>(marker, object.get(), sel("ratio")); }),
              HasSubstr("the forwarding marker was called directly for ratio"));
  addMethod(
      cls, "forwardingTargetForSelector:", +[](id, SEL, SEL) { return current->target.get(); });
  addMethod(
      other, "add:to:", +[](id, SEL, std::int64_t a, std::int64_t b) { return a + b; });
  EXPECT_EQ((platform::callImplementation<std::int64_t(std::int64_t, std::int64_t)>(
                marker, object.get(), sel("add:to:"), std::int64_t{3}, std::int64_t{4})),
            7);
}

TEST_F(Forwarding, InvocationRetainsItsArgumentsOnlyOnRequest) {
  int deaths = 0;
  const auto call = [&] {
    send<void(id, const char*)>(object.get(), sel("keep:as:"), Strong(platform::makeObject<Mortal>(&deaths)).get(),
                                std::string("name").c_str());
  };
  forwardInvocations("v@:@*");
  Strong kept;
  work = [&](id invocation) { kept = invocation; };
  call();
  EXPECT_EQ(deaths, 1);
  EXPECT_FALSE(send<bool()>(kept.get(), sel("argumentsRetained")));
  work = [&](id invocation) {
    send<void()>(invocation, sel("retainArguments"));
    kept = invocation;
  };
  call();
  EXPECT_EQ(deaths, 1);
  EXPECT_STREQ(argument<const char*>(kept.get(), 3), "name");
  kept = {};
  EXPECT_EQ(deaths, 2);
}

TEST_F(Forwarding, MethodSignatureDescribesItsEncoding) {
  const id signature = signatureOf("d52@0:8B16s20@\"NSString\"24^{Point=ii}28@?<v@?>36");
  EXPECT_EQ(send<std::uint64_t()>(signature, sel("numberOfArguments")), 7U);
  EXPECT_EQ(send<std::uint64_t()>(signature, sel("methodReturnLength")), 8U);
  EXPECT_STREQ(send<const char*()>(signature, sel("methodReturnType")), "d");
  std::vector<std::string> parts;
  for (std::uint64_t i = 2; i < 7; ++i) {
    parts.emplace_back(send<const char*(std::uint64_t)>(signature, sel("getArgumentTypeAtIndex:"), i));
  }
  EXPECT_THAT(parts, ElementsAre("B", "s", "@\"NSString\"", "^{Point=ii}", "@?<v@?>"));
  EXPECT_THROW(send<const char*(std::uint64_t)>(signature, sel("getArgumentTypeAtIndex:"), std::uint64_t{7}),
               platform::Exception);
  EXPECT_TRUE(send<bool(id)>(signatureOf("i@:@"), sel("isEqual:"), signatureOf("i24@0:8@16")));
  EXPECT_FALSE(send<bool(id)>(signatureOf("i@:@"), sel("isEqual:"), object.get()));
  for (const char* wrong : {static_cast<const char*>(nullptr), "", "v@", "v@:{CGSize=dd}"}) {
    EXPECT_THAT(raised([&] { signatureOf(wrong); }), HasSubstr("is not the encoding of a method"));
  }
  addMethod(cls, "answer", answer<1>);
  const auto own = [&](id receiver, const char* question) {
    return send<id(SEL)>(receiver, sel(question), sel("answer"));
  };
  EXPECT_NE(own(object.get(), "methodSignatureForSelector:"), nullptr);
  EXPECT_NE(own(platform::classObject(cls), "instanceMethodSignatureForSelector:"), nullptr);
  EXPECT_EQ(own(target.get(), "methodSignatureForSelector:"), nullptr);
}

TEST_F(Forwarding, ClassAddsTheMissingMethodInItsResolver) {
  const Class meta = object_getClass(platform::classObject(cls));
  addMethod(
      meta, "resolveInstanceMethod:", +[](id self, SEL, SEL selector) {
        const auto receiver = reinterpret_cast<Class>(self);
        return !class_respondsToSelector(receiver, selector) && std::string(sel_getName(selector)) == "answer" &&
               addMethod(receiver, "answer", answer<2>);
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
      {"class_getClassMethod", [](Class each) { return class_getClassMethod(each, sel("answer")) != nullptr; }},
  };
  int number = 0;
  for (const auto& [question, isThere] : cases) {
    const Class sub = makeClass(("Sub" + std::to_string(++number)).c_str(), cls);
    EXPECT_TRUE(isThere(sub)) << question;
    EXPECT_THROW(ask(makeInstance(sub).get(), "other"), platform::Exception);
  }
}

TEST_F(Forwarding, ProxyForwardsNearlyEverything) {
  cls = makeClass("Proxy", objc_getClass("NSProxy"));
  const Strong proxy = makeInstance(cls);
  target = makeInstance(makeClass("Model"));
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
        current->asked.emplace_back(sel_getName(send<SEL()>(invocation, sel("selector"))));
        send<void(id)>(invocation, sel("invokeWithTarget:"), current->target.get());
      });
  EXPECT_EQ(ask(proxy.get()), 4);
  EXPECT_TRUE(platform::respondsToSelector(proxy.get(), sel("answer")));
  EXPECT_FALSE(platform::respondsToSelector(proxy.get(), sel("missing")));
  EXPECT_TRUE(platform::isKindOfClass(proxy.get(), model));
  EXPECT_TRUE(send<bool(Class)>(proxy.get(), sel("isMemberOfClass:"), model));
  EXPECT_TRUE(platform::conformsToProtocol(proxy.get(), objc_getProtocol("NSObject")));
  EXPECT_THAT(asked, ElementsAre("answer", "respondsToSelector:", "respondsToSelector:", "isKindOfClass:",
                                 "isMemberOfClass:", "conformsToProtocol:"));
  EXPECT_THAT(raised([&] { ask(proxy.get(), "missing"); }), HasSubstr("-[Proxy missing]: unrecognized selector sent"));

  asked.clear();
  EXPECT_EQ(platform::classOf(proxy.get()), cls);
  EXPECT_EQ(send<Class()>(proxy.get(), sel("superclass")), objc_getClass("NSProxy"));
  EXPECT_FALSE(send<bool(id)>(proxy.get(), sel("isEqual:"), target.get()));
  EXPECT_TRUE(send<bool()>(proxy.get(), sel("isProxy")));
  EXPECT_FALSE(send<bool()>(target.get(), sel("isProxy")));
  EXPECT_EQ(describe(proxy.get()), platform::format("<Proxy: %p>", {proxy.get()}));
  EXPECT_THAT(asked, ElementsAre()) << "it answers these itself";
}

TEST_F(Forwarding, ProxyWithoutForwardingRaisesAndItsClassAnswers) {
  const Class proxyClass = objc_getClass("NSProxy");
  const Strong proxy = makeInstance(proxyClass);
  EXPECT_THAT(raised([&] { platform::respondsToSelector(proxy.get(), sel("class")); }),
              HasSubstr("-[NSProxy respondsToSelector:]: unrecognized selector sent to instance"));
  EXPECT_THAT(raised([&] { send<id()>(proxy.get(), sel("init")); }), HasSubstr("-[NSProxy init]: unrecognized"));
  const id asObject = platform::classObject(proxyClass);
  EXPECT_TRUE(platform::respondsToSelector(asObject, sel("alloc")));
  EXPECT_FALSE(platform::respondsToSelector(asObject, sel("init")));
  EXPECT_FALSE(platform::isKindOfClass(asObject, objc_getClass("NSObject")));
  EXPECT_TRUE(platform::conformsToProtocol(asObject, objc_getProtocol("NSObject")));
  EXPECT_TRUE(send<bool(SEL)>(asObject, sel("instancesRespondToSelector:"), sel("isProxy")));
}

}  // namespace
