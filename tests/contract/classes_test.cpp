// Classes and methods: one behaviour of the runtime per test.

#include <gmock/gmock.h>

#include <string>

#include "platform/object_messages.h"
#include "tests/contract/contract.h"
#include "tests/support/runtime_objects.h"

namespace {

using namespace test;
using testing::EndsWith;

struct InCpp {
  static constexpr const char* className = "ContractInCpp";
  static void defineClass(platform::ClassFace<InCpp>&) {}
};

class Classes : public Contract {
 protected:
  static IMP implementation(Class cls, const char* selector) {
    return method_getImplementation(class_getInstanceMethod(cls, sel(selector)));
  }

  Class base = makeClass("ContractBase");
  Class derived = makeClass("ContractDerived", base);
  platform::Strong object = makeInstance(derived);
  const IMP one = codeOf(answer<1>);
  const IMP two = codeOf(answer<2>);
};

TEST_F(Classes, HaveTheirNameFromRegistration) {
  const Class cls = objc_allocateClassPair(base, "ContractLate", 0);
  EXPECT_EQ(objc_getClass("ContractLate"), nullptr);
  objc_registerClassPair(cls);
  EXPECT_EQ(objc_getClass("ContractLate"), cls);
  EXPECT_STREQ(class_getName(cls), "ContractLate");
  EXPECT_EQ(class_getSuperclass(cls), base);
  EXPECT_EQ(objc_allocateClassPair(base, "ContractLate", 0), nullptr) << "the name is taken";
}

TEST_F(Classes, InstancesHaveExtraBytesAlignedAndZero) {
  const platform::Strong instance = platform::Strong::adopt(class_createInstance(base, 3 * sizeof(void*)));
  auto* const extra = static_cast<void**>(object_getIndexedIvars(instance.get()));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(extra) % alignof(void*), 0U);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(extra[i], nullptr);
  EXPECT_EQ(class_getInstanceSize(derived), class_getInstanceSize(objc_getClass("NSObject")));
}

TEST_F(Classes, AMethodIsInherited) {
  EXPECT_TRUE(addMethod(base, "answer", answer<1>));
  EXPECT_EQ(ask(object.get()), 1);
  EXPECT_EQ(implementation(derived, "answer"), one);
  EXPECT_EQ(class_getMethodImplementation(derived, sel("answer")), one);
  EXPECT_STREQ(method_getTypeEncoding(class_getInstanceMethod(derived, sel("answer"))), "i@:");
}

TEST_F(Classes, AMethodIsAddedOnceToAClassAndOverridesTheInheritedOne) {
  addMethod(base, "answer", answer<1>);
  EXPECT_EQ(ask(object.get()), 1);
  EXPECT_TRUE(addMethod(derived, "answer", answer<2>)) << "the class itself has none yet";
  EXPECT_EQ(ask(object.get()), 2);
  EXPECT_FALSE(addMethod(derived, "answer", answer<3>));
  EXPECT_EQ(ask(object.get()), 2);
  EXPECT_EQ(ask(makeInstance(base).get()), 1);
}

TEST_F(Classes, ANewImplementationTakesEffectWhereTheMethodIsInherited) {
  addMethod(base, "answer", answer<1>);
  const platform::Strong inherited = makeInstance(base);
  EXPECT_EQ(ask(object.get()), ask(inherited.get()));
  EXPECT_EQ(method_setImplementation(class_getInstanceMethod(derived, sel("answer")), two), one);
  EXPECT_EQ(ask(object.get()), 2);
  EXPECT_EQ(ask(inherited.get()), 2);
}

TEST_F(Classes, ExchangedMethodsKeepTheirNames) {
  addMethod(base, "answer", answer<1>);
  addMethod(base, "other", answer<2>);
  EXPECT_EQ(ask(object.get()), 1);
  method_exchangeImplementations(class_getInstanceMethod(derived, sel("answer")),
                                 class_getInstanceMethod(base, sel("other")));
  EXPECT_EQ(ask(object.get()), 2);
  EXPECT_EQ(ask(object.get(), "other"), 1);
}

TEST_F(Classes, ManyMethodsAreAllFound) {
  const auto name = [](int number) { return "method" + std::to_string(number); };
  for (int i = 0; i < 100; ++i) addMethod(base, name(i).c_str(), i % 2 == 0 ? answer<0> : answer<1>);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(ask(object.get(), name(i % 100).c_str()), i % 2);
}

TEST_F(Classes, ClassMethodsAreInherited) {
  addMethod(object_getClass(platform::classObject(base)), "answer", answer<7>);
  EXPECT_EQ(ask(platform::classObject(derived)), 7);
  EXPECT_EQ(class_getInstanceMethod(derived, sel("answer")), nullptr);
}

TEST_F(Classes, AsReceiversHaveTheInstanceMethodsOfTheRoot) {
  addMethod(objc_getClass("NSObject"), "contractExtra", answer<8>);
  EXPECT_EQ(ask(platform::classObject(derived), "contractExtra"), 8);
}

TEST_F(Classes, AnObjectChangesItsClassAlone) {
  const Class sub = makeClass("ContractSub", derived);
  addMethod(derived, "answer", answer<1>);
  addMethod(sub, "answer", answer<2>);
  const platform::Strong sibling = makeInstance(derived);
  EXPECT_EQ(ask(object.get()), 1);
  EXPECT_EQ(object_setClass(object.get(), sub), derived);
  EXPECT_EQ(object_getClass(object.get()), sub);
  EXPECT_EQ(ask(object.get()), 2);
  EXPECT_EQ(ask(sibling.get()), 1);
  EXPECT_EQ(object_setClass(nullptr, sub), nullptr);
}

TEST_F(Classes, AMissingMethodHasTheOneForwardingMarker) {
  const IMP marker = class_getMethodImplementation(base, sel("missing"));
  EXPECT_NE(marker, nullptr);
  EXPECT_EQ(marker, class_getMethodImplementation(derived, sel("missing:too:")));
  EXPECT_EQ(class_getInstanceMethod(base, sel("missing")), nullptr);
}

TEST_F(Classes, TheMarkerMakesAMethodMissing) {
  addMethod(derived, "answer", answer<1>);
  const Method method = class_getInstanceMethod(derived, sel("answer"));
  EXPECT_EQ(ask(object.get()), 1);
  method_setImplementation(method, class_getMethodImplementation(base, sel("missing")));
  EXPECT_THAT(raised([&] { ask(object.get()); }), testing::StartsWith(platform::invalidArgumentException));
  method_setImplementation(method, two);
  EXPECT_EQ(ask(object.get()), 2);
}

TEST_F(Classes, SelectorsAreInterned) {
  EXPECT_EQ(sel(std::string("answer").c_str()), sel("answer"));
  EXPECT_STREQ(sel_getName(sel("a:b:")), "a:b:");
  EXPECT_EQ(platform::uniqueSelector(sel("answer")), sel("answer"));
}

TEST_F(Classes, NullIsLegal) {
  EXPECT_EQ(class_getInstanceMethod(nullptr, sel("answer")), nullptr);
  EXPECT_EQ(class_getMethodImplementation(nullptr, sel("answer")), nullptr);
  EXPECT_FALSE(addMethod(nullptr, "answer", answer<1>));
  EXPECT_EQ(object_getClass(nullptr), nullptr);
  EXPECT_EQ(protocol_getMethodDescription(nullptr, sel("answer"), false, true).types, nullptr);
  EXPECT_FALSE(class_addProtocol(base, nullptr));
  EXPECT_EQ(objc_getClass("ContractUnknown"), nullptr);
  EXPECT_EQ(objc_getProtocol("ContractUnknown"), nullptr);
}

TEST_F(Classes, AdoptedProtocolsAreInherited) {
  Protocol* const protocol = objc_getProtocol("UIApplicationDelegate");
  EXPECT_TRUE(class_addProtocol(base, protocol));
  EXPECT_FALSE(class_addProtocol(base, protocol));
  EXPECT_TRUE(platform::conformsToProtocol(object.get(), protocol));
  EXPECT_TRUE(platform::conformsToProtocol(platform::classObject(derived), protocol));
  EXPECT_FALSE(platform::conformsToProtocol(makeInstance(objc_getClass("NSObject")).get(), protocol));
  EXPECT_FALSE(platform::conformsToProtocol(object.get(), nullptr));
}

TEST_F(Classes, ProtocolsDescribeTheirMethodsByKind) {
  Protocol* const protocol = objc_getProtocol("UNUserNotificationCenterDelegate");
  const SEL method = sel("userNotificationCenter:willPresentNotification:withCompletionHandler:");
  const auto find = [&](bool isRequired, bool isInstance) {
    return protocol_getMethodDescription(protocol, method, isRequired, isInstance);
  };
  EXPECT_EQ(find(true, true).name, nullptr) << "optional";
  const objc_method_description found = find(false, true);
  EXPECT_EQ(found.name == nullptr ? nullptr : platform::uniqueSelector(found.name), method);
  EXPECT_EQ(found.types == nullptr ? ' ' : *found.types, 'v');
  EXPECT_EQ(find(false, false).types, nullptr) << "of instances";
  EXPECT_EQ(protocol_getMethodDescription(protocol, sel("contractUnknown"), false, true).types, nullptr);
}

TEST_F(Classes, OfACppClassNeedAFreeNameAndConstructTheirInstancesThemselves) {
  makeClass(Mortal::className);
  EXPECT_EQ(programmingErrorIn([] { platform::classOf<Mortal>(); }), "the name of the class Mortal is already taken");
  const id cls = platform::classObject(platform::classOf<InCpp>());
  EXPECT_THAT(raised([cls] { platform::send<id()>(cls, sel("alloc")); }),
              EndsWith("+[ContractInCpp alloc]: instances are made in C++"));
  EXPECT_THAT(raised([cls] { platform::send<id(void*)>(cls, sel("allocWithZone:"), nullptr); }),
              EndsWith("+[ContractInCpp allocWithZone:]: instances are made in C++"));
}

}  // namespace
