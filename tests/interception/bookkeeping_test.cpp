// Replacing a method of a class and restoring it.

#include <gmock/gmock.h>

#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "tests/contract/contract.h"
#include "tests/support/phone.h"
#include "tests/support/test_application.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;

using Proxy = PLMessagingRemoteNotificationsProxy;

class Bookkeeping : public SkipsDifferences<> {
 protected:
  void replace(Class cls, const char* selector = "answer", IMP replacement = replacement_) {
    proxy().swizzleSelector(sel(selector), cls, replacement, objc_getProtocol("UNUserNotificationCenterDelegate"));
  }
  void restore(Class cls) { proxy().unswizzleSelector(sel("answer"), cls); }
  Proxy& proxy() { return platform::objectState<Proxy>(object_.get()); }
  IMP kept() { return proxy().fetchOriginalImplementationForSelector(sel("answer")); }
  Class classWithAnswer(const char* name, int (*code)(id, SEL)) {
    const Class cls = makeClass(name);
    addMethod(cls, "answer", code);
    return cls;
  }

  static inline const IMP replacement_ = codeOf(&answer<9>);
  static inline const IMP first_ = codeOf(&answer<1>);
  Phone phone_;
  Strong object_ = platform::makeObject<Proxy>();
};

TEST_F(Bookkeeping, KeepsTheFirstImplementationThroughASecondReplacement) {
  const Class cls = classWithAnswer("C", answer<1>);
  const Strong object = makeInstance(cls);
  replace(cls);
  replace(cls);
  EXPECT_EQ(kept(), first_);
  EXPECT_EQ(ask(object.get()), 9);
  restore(cls);
  EXPECT_EQ(ask(object.get()), 1);
  EXPECT_EQ(kept(), nullptr);
}

TEST_F(Bookkeeping, ReplacesAnInheritedMethodWhereItIsDefined) {
  const Class base = classWithAnswer("Base", answer<1>);
  const Strong sibling = makeInstance(makeClass("Sibling", base));
  const Class cls = makeClass("C", base);
  replace(cls);
  EXPECT_EQ(ask(sibling.get()), 9);
  restore(cls);
  EXPECT_EQ(ask(sibling.get()), 1);
}

TEST_F(Bookkeeping, KeptTheForwardingImplementationWithoutAnOriginal) {
  const Class cls = makeClass("C");
  const Strong object = makeInstance(cls);
  replace(cls);
  EXPECT_EQ(ask(object.get()), 9) << "added, as the class had none";
  EXPECT_EQ(kept(), nullptr);
  restore(cls);
  EXPECT_THAT(raised([&] { ask(object.get()); }), StartsWith(platform::invalidArgumentException));
  replace(cls);
  EXPECT_EQ(kept(), nullptr) << "what forwards is not the class's own code";
  EXPECT_EQ(ask(object.get()), 9);
}

TEST_F(Bookkeeping, AddsAMethodAsTheProtocolDeclaresIt) {
  const Class cls = makeClass("C");
  replace(cls, willPresent);
  std::string types = method_getTypeEncoding(class_getInstanceMethod(cls, sel(willPresent)));
  std::erase_if(types, [](char letter) { return std::string_view("v@:").find(letter) == std::string_view::npos; });
  EXPECT_EQ(types, "v@:@@@") << "offsets in the frame and the mark of blocks apart";
  EXPECT_THAT(phone_.takeLines(), IsEmpty());
  replace(nullptr, willPresent);
  EXPECT_THAT(phone_.takeLines(),
              ElementsAre("pellion-warning -[PLMessagingRemoteNotificationsProxy "
                          "swizzleSelector:inClass:withImplementation:inProtocol:]: Could not add method for " +
                          std::string(willPresent) + " to class (null)"));
  EXPECT_THAT(proxy().swizzledMethodsByClass(), ElementsAre(Pair("C", _))) << "a null class has no name";
}

TEST_F(Bookkeeping, HoldsOneImplementationForASelectorOfAllClasses) {
  const Class first = classWithAnswer("First", answer<1>);
  const Class second = classWithAnswer("Second", answer<2>);
  replace(first);
  replace(second);
  EXPECT_EQ(kept(), codeOf(&answer<2>));
  restore(second);
  restore(first);
  EXPECT_EQ(ask(makeInstance(second).get()), 2);
  EXPECT_THAT(raised([&] { ask(makeInstance(first).get()); }), StartsWith(platform::invalidArgumentException));
}

TEST_F(Bookkeeping, KeptTheRecordIsStoredByClassButLookedUpBySelector) {
  const Class cls = classWithAnswer("C", answer<1>);
  addMethod(cls, "other", answer<2>);
  const Strong object = makeInstance(cls);
  replace(cls, "other");
  replace(cls, "answer");
  EXPECT_THAT(proxy().swizzledMethodsByClass(), ElementsAre(Pair("C", ElementsAre("answer"))));
  const Class namesake = classWithAnswer("answer", answer<3>);
  replace(namesake, "other");
  replace(makeClass("D"), "answer");
  EXPECT_THAT(proxy().swizzledMethodsByClass().at("D"), ElementsAre("other", "answer"));
  proxy().unswizzleAllMethods();
  EXPECT_EQ(ask(object.get(), "other"), 9) << "not recorded, so not restored";
  EXPECT_TRUE(proxy().swizzledMethodsByClass().empty());
}

TEST_F(Bookkeeping, IgnoresNull) {
  proxy().preserveOriginalImplementation(nullptr, sel("answer"));
  proxy().preserveOriginalImplementation(first_, nullptr);
  EXPECT_EQ(kept(), nullptr);
  proxy().preserveOriginalImplementation(first_, sel("answer"));
  proxy().preserveOriginalImplementation(nullptr, sel("answer"));
  restore(makeClass("WithoutMethod"));
  proxy().unswizzleAllMethods();
  EXPECT_EQ(kept(), first_);
  EXPECT_THAT(phone_.takeLog(), IsEmpty());
}

}  // namespace
