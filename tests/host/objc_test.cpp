#include "platform/objc.h"
#include "host/objc/runtime_functions.h"

#include <gmock/gmock.h>

#include <string>

#include "host/objc/programming_error.h"
#include "platform/exception.h"
#include "platform/object_messages.h"
#include "tests/support/runtime_objects.h"
#include "tests/support/test_process.h"

// Functions of the runtime that platform/ does not have, classes of several processes, protocols made at run time;
// tests/contract has the others.

namespace {

using namespace test;
using testing::StartsWith;

/// Stands for a backend that finds the class of this name declared: overload resolution prefers its classToComplete to
/// the host's, which takes the text and finds none.
struct DeclaredName {
  const char* text;
  operator const char*() const { return text; }  // NOLINT(google-explicit-constructor): where a name is expected
  friend Class classToComplete(const DeclaredName& name) { return objc_getClass(name.text); }
  friend std::string operator+(const std::string& before, const DeclaredName& name) { return before + name.text; }
};

struct Declared {
  static constexpr DeclaredName className{"Declared"};
  static void defineClass(platform::ClassFace<Declared>& face) { face.method<&Declared::number>("answer"); }
  [[nodiscard]] int number() const { return number_; }
  int number_ = 7;
};

class Objc : public testing::Test {
 protected:
  TestProcess process;
  Class base = makeClass("Base");
  Class derived = makeClass("Derived", base);
  platform::Strong object = makeInstance(derived);
  const IMP one = host::asIMP(answer<1>);
  const IMP two = host::asIMP(answer<2>);
};

TEST_F(Objc, ClassHasItsNameUntilItsDisposal) {
  objc_disposeClassPair(makeClass("Late"));
  EXPECT_NE(makeClass("Late"), nullptr);
  objc_disposeClassPair(base);
  EXPECT_EQ(objc_getClass("Base"), base) << "it has a subclass";
  objc_disposeClassPair(object_getClass(platform::classObject(derived)));
  EXPECT_EQ(objc_getClass("Derived"), derived) << "a metaclass is destroyed with its class";
  objc_disposeClassPair(makeClass("Root", nullptr));
  EXPECT_EQ(objc_getClass("Root"), nullptr);
}

TEST_F(Objc, CppClassAddsItsMethodsToTheDeclaredClassThatTheBackendGives) {
  const Class declared = makeClass("Declared", base);
  EXPECT_EQ(platform::classOf<Declared>(), declared);
  EXPECT_EQ(class_getSuperclass(declared), base);
  EXPECT_EQ(ask(platform::makeObject<Declared>().get()), 7);
  EXPECT_THAT(raised([&] { platform::send<id()>(platform::classObject(declared), sel("alloc")); }),
              testing::EndsWith("+[Declared alloc]: instances are made in C++"));
}

TEST_F(Objc, ClassesBelongToTheirProcessSelectorsToTheProgram) {
  const SEL answerSelector = sel("answer");
  const TestProcess other;
  EXPECT_EQ(objc_getClass("Base"), nullptr);
  EXPECT_NE(objc_getClass("NSObject"), class_getSuperclass(base));
  EXPECT_EQ(sel(std::string("answer").c_str()), answerSelector);
}

TEST_F(Objc, InstanceVariablesFollowThoseOfTheSuperclassAligned) {
  const Class cls = objc_allocateClassPair(base, "Sized", 0);
  EXPECT_TRUE(class_addIvar(cls, "flag", 1, 0, "B"));
  EXPECT_TRUE(class_addIvar(cls, "number", 8, 3, "q"));
  EXPECT_FALSE(class_addIvar(cls, "flag", 1, 0, "B"));
  for (const int alignment : {63, 64, 255}) EXPECT_FALSE(class_addIvar(cls, "wide", 1, std::uint8_t(alignment), "B"));
  EXPECT_FALSE(class_addIvar(cls, "long", SIZE_MAX - 8, 0, "B"));
  objc_registerClassPair(cls);
  EXPECT_FALSE(class_addIvar(cls, "late", 1, 0, "B"));
  EXPECT_EQ(ivar_getOffset(class_getInstanceVariable(cls, "number")), 16);
  EXPECT_EQ(class_getInstanceSize(cls), 24U);
  EXPECT_EQ(class_getInstanceSize(makeClass("SizedToo", cls)), 24U);
  EXPECT_EQ(class_getInstanceVariable(base, "number"), nullptr);
}

TEST_F(Objc, MethodIsReplacedInTheClassItselfOrAdded) {
  const SEL selector = sel("answer");
  addMethod(base, "answer", answer<1>);
  EXPECT_EQ(ask(object.get()), 1);
  EXPECT_EQ(class_replaceMethod(base, selector, two, "i@:"), one);
  EXPECT_EQ(ask(object.get()), 2);
  EXPECT_EQ(class_replaceMethod(derived, selector, one, "i@:"), nullptr);
  EXPECT_EQ(ask(object.get()), 1);
  EXPECT_EQ(ask(makeInstance(base).get()), 2);
  EXPECT_EQ(method_getName(class_getInstanceMethod(derived, selector)), selector);
}

TEST_F(Objc, MetaclassesHaveTheRootsMetaclass) {
  const Class meta = object_getClass(platform::classObject(base));
  EXPECT_TRUE(class_isMetaClass(meta));
  EXPECT_FALSE(class_isMetaClass(base));
  EXPECT_EQ(object_getClass(platform::classObject(meta)),
            object_getClass(platform::classObject(objc_getClass("NSObject"))));
  addMethod(meta, "answer", answer<7>);
  EXPECT_NE(class_getClassMethod(derived, sel("answer")), nullptr);
}

TEST_F(Objc, ForwardingMarkerRaisesWhenItIsCalled) {
  const IMP marker = class_getMethodImplementation(base, sel("missing"));
  EXPECT_FALSE(class_respondsToSelector(base, sel("missing")));
  const auto call = [&] { platform::callImplementation<void(int)>(marker, object.get(), sel("missing:"), 1); };
  EXPECT_THAT(raised(call), StartsWith("NSInvalidArgumentException: -[Derived missing:]: unrecognized selector sent to "
                                       "instance 0x"));
}

TEST_F(Objc, ProtocolReturnsItsDescriptionsByKindOnlyTheMethodInheritsConformance) {
  Protocol* protocol = objc_allocateProtocol("Answering");
  protocol_addMethodDescription(protocol, sel("answer"), "i16@0:8", false, true);
  EXPECT_EQ(objc_getProtocol("Answering"), nullptr);
  objc_registerProtocol(protocol);
  EXPECT_EQ(objc_getProtocol("Answering"), protocol);
  protocol_addMethodDescription(protocol, sel("late"), "v@:", false, true);
  EXPECT_STREQ(protocol_getMethodDescription(protocol, sel("answer"), false, true).types, "i16@0:8");
  EXPECT_EQ(protocol_getMethodDescription(protocol, sel("answer"), true, true).name, nullptr);
  EXPECT_EQ(protocol_getMethodDescription(protocol, sel("answer"), false, false).types, nullptr);
  EXPECT_EQ(protocol_getMethodDescription(protocol, sel("late"), false, true).types, nullptr);
  EXPECT_TRUE(class_addProtocol(base, protocol));
  EXPECT_FALSE(class_addProtocol(base, protocol));
  EXPECT_FALSE(class_conformsToProtocol(derived, protocol));
  const SEL conforms = sel("conformsToProtocol:");
  EXPECT_TRUE(platform::send<bool(Protocol*)>(object.get(), conforms, protocol));
  EXPECT_TRUE(platform::send<bool(Protocol*)>(platform::classObject(derived), conforms, protocol));
  EXPECT_FALSE(platform::send<bool(Protocol*)>(makeInstance(objc_getClass("NSObject")).get(), conforms, protocol));
  EXPECT_FALSE(platform::send<bool(Protocol*)>(object.get(), conforms, nullptr));
}

TEST_F(Objc, ProtocolFollowsTheProtocolsThatItAdopts) {
  const auto make = [](const char* name, std::initializer_list<const char*> adopted, const char* method) {
    Protocol* protocol = objc_allocateProtocol(name);
    for (const char* each : adopted) protocol_addProtocol(protocol, objc_getProtocol(each));
    protocol_addMethodDescription(protocol, sel(method), (std::string("v@:") + name[0]).c_str(), false, true);
    objc_registerProtocol(protocol);
    return protocol;
  };
  Protocol* grandparent = make("ints", {}, "own");
  Protocol* parent = make("doubles", {"ints"}, "first");
  Protocol* second = make("selectors", {}, "first");
  Protocol* child = make("floats", {"doubles", "selectors"}, "own");
  protocol_addProtocol(grandparent, child);  // too late, or there would be a circle
  Protocol* open = objc_allocateProtocol("open");
  protocol_addProtocol(open, child);
  protocol_addProtocol(child, open);

  const auto typesOf = [&](Protocol* protocol, const char* method) {
    return protocol_getMethodDescription(protocol, sel(method), false, true).types;
  };
  EXPECT_STREQ(typesOf(child, "own"), "v@:f") << "its own description comes first";
  EXPECT_STREQ(typesOf(child, "first"), "v@:d") << "then the protocols in the order of adoption";
  EXPECT_STREQ(typesOf(parent, "own"), "v@:i");
  EXPECT_STREQ(typesOf(open, "first"), "v@:d");
  EXPECT_EQ(typesOf(grandparent, "first"), nullptr);
  EXPECT_EQ(protocol_getMethodDescription(child, sel("first"), true, true).name, nullptr);

  class_addProtocol(base, child);
  for (Protocol* each : {child, parent, second, grandparent}) {
    EXPECT_TRUE(protocol_conformsToProtocol(child, each)) << protocol_getName(each);
    EXPECT_TRUE(class_conformsToProtocol(base, each)) << protocol_getName(each);
    EXPECT_TRUE(platform::conformsToProtocol(object.get(), each)) << protocol_getName(each);
    EXPECT_FALSE(class_addProtocol(base, each)) << protocol_getName(each);
  }
  EXPECT_FALSE(protocol_conformsToProtocol(parent, child));
  EXPECT_FALSE(platform::conformsToProtocol(object.get(), open));
  EXPECT_FALSE(protocol_conformsToProtocol(nullptr, child));
  EXPECT_FALSE(protocol_conformsToProtocol(child, nullptr));
}

TEST_F(Objc, BothRootsDeclareTheProtocolNSObject) {
  Protocol* protocol = objc_getProtocol("NSObject");
  EXPECT_TRUE(platform::conformsToProtocol(object.get(), protocol));
  EXPECT_TRUE(class_conformsToProtocol(objc_getClass("NSProxy"), protocol));
  EXPECT_STREQ(protocol_getMethodDescription(protocol, sel("respondsToSelector:"), true, true).types, "B@::");
}

}  // namespace
