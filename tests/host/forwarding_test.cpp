// The texts, corners and message objects of the host's forwarding; tests/contract has what every platform does.

#include "tests/contract/forwarding_fixture.h"

namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;

using HostForwarding = Forwarding;

TEST_F(HostForwarding, EndlessForwardingRaises) {
  forwardInvocations("i@:");
  work = [](id) { ask(current->object.get()); };
  EXPECT_THAT(raised([&] { ask(object.get()); }), HasSubstr("forwarded inside of its own forwarding"));
}

TEST_F(HostForwarding, RootsRefuseWhatNoMethodForwards) {
  types = "i@:";
  addMethod(
      cls, "methodSignatureForSelector:", +[](id, SEL, SEL) { return signatureOf("i@:"); });
  EXPECT_THAT(raised([&] { ask(object.get()); }), HasSubstr("-[ContractReceiver answer]: unrecognized selector sent"))
      << "the root's forwardInvocation:";
  addMethod(
      cls, "doesNotRecognizeSelector:", +[](id, SEL, SEL selector) {
        throw platform::Exception("Own", sel_getName(selector));
      });
  EXPECT_EQ(raised([&] { ask(object.get()); }), "Own: answer");
  EXPECT_THAT(raised([&] { ask(platform::classObject(makeClass("Bare", nullptr))); }),
              HasSubstr("+[Bare answer]: unrecognized selector sent to class"));
}

TEST_F(HostForwarding, MarkerInTheClassOrCalledDirectlyForwards) {
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

TEST_F(HostForwarding, InvocationRetainsItsArgumentsOnlyOnRequest) {
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

TEST_F(HostForwarding, MethodSignatureDescribesItsEncoding) {
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

TEST_F(HostForwarding, ProxyWithoutForwardingRaisesAndItsClassAnswers) {
  const Class proxyClass = objc_getClass("NSProxy");
  const Strong proxy = makeInstance(proxyClass);
  EXPECT_THAT(raised([&] { platform::respondsToSelector(proxy.get(), sel("class")); }),
              HasSubstr("-[NSProxy respondsToSelector:]: unrecognized selector sent to instance"));
  EXPECT_EQ(describe(proxy.get()), platform::format("<NSProxy: %p>", {proxy.get()}));
  EXPECT_THAT(raised([&] { send<id()>(proxy.get(), sel("init")); }), HasSubstr("-[NSProxy init]: unrecognized"));
  const id asObject = platform::classObject(proxyClass);
  EXPECT_TRUE(platform::respondsToSelector(asObject, sel("alloc")));
  EXPECT_FALSE(platform::respondsToSelector(asObject, sel("init")));
  EXPECT_FALSE(platform::isKindOfClass(asObject, objc_getClass("NSObject")));
  EXPECT_TRUE(platform::conformsToProtocol(asObject, objc_getProtocol("NSObject")));
  EXPECT_TRUE(send<bool(SEL)>(asObject, sel("instancesRespondToSelector:"), sel("isProxy")));
}

}  // namespace
