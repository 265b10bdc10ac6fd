#include <gmock/gmock.h>

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/interceptor_registry.h"
#include "tests/contract/contract.h"
#include "tests/support/phone.h"
#include "tests/support/test_application.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;

const std::string unregistering =
    "pellion-warning +[PLAppDelegateSwizzler unregisterAppDelegateInterceptorWithIdentifier:]: AppDelegateProxy ";
const std::string unknown = unregistering + "cannot unregister interceptor that was not registered. Interceptor ID ";

class Interceptors : public SkipsDifferences<> {
 protected:
  Strong interceptor(const char* name) {
    const Class cls = appDelegateClass(name);
    addMethod<&noteToken<'I'>>(cls, didRegister);
    return makeInstance(cls);
  }
  std::string add(const Strong& object) {
    return PLAppDelegateSwizzler::registerAppDelegateInterceptor(object.get()).value_or("none");
  }
  static std::vector<id> broadcast(const std::function<void(id)>& also = [](id) {}) {
    std::vector<id> called;
    PLAppDelegateSwizzler::broadcastToInterceptorsUsingSelector(sel(didRegister), [&](id interceptor) {
      called.push_back(interceptor);
      also(interceptor);
    });
    return called;
  }
  static void remove(const std::string& id) {
    PLAppDelegateSwizzler::unregisterAppDelegateInterceptorWithIdentifier(&id);
  }
  static std::size_t count() { return PLAppDelegateSwizzler::interceptors().count(); }

  Phone phone_;
};

TEST_F(Interceptors, AreRefusedWhenNullOrWithoutTheProtocolEvenIfTheyHaveItsMethods) {
  const std::string refused =
      "pellion-warning +[PLAppDelegateSwizzler registerAppDelegateInterceptor:]: AppDelegateProxy ";
  const Class undeclared = makeClass("Undeclared");
  addMethod<&noteToken<'U'>>(undeclared, didRegister);
  EXPECT_EQ(add({}), "none");
  EXPECT_EQ(add(makeInstance(undeclared)), "none");
  EXPECT_EQ(count(), 0U);
  EXPECT_THAT(phone_.takeLines(), ElementsAre(refused + "cannot add nil interceptor.",
                                              refused + "interceptor does not conform to UIApplicationDelegate"));
}

TEST_F(Interceptors, AreKnownByTheirAddressOnceAndCalledOnceUntilUnregistered) {
  const Strong object = interceptor("Interceptor");
  const Strong heir = makeInstance(makeClass("Heir", objc_getClass("Interceptor")));
  const Strong deaf = makeInstance(appDelegateClass("Deaf"));
  const Class saying = makeClass("Saying");  // like a proxy for another object
  addMethod(saying, "conformsToProtocol:", agree<Protocol*>);
  addMethod(saying, "respondsToSelector:", agree<SEL>);
  const Strong proxy = makeInstance(saying);
  const std::string id = add(object);
  EXPECT_EQ(id, platform::format("PLX_%p", {object.get()}));
  EXPECT_EQ(add(object), id);
  for (const Strong* other : {&deaf, &heir, &proxy}) add(*other);
  EXPECT_EQ(count(), 4U);
  EXPECT_THAT(broadcast(), UnorderedElementsAre(object.get(), heir.get(), proxy.get()));
  remove(id);
  EXPECT_THAT(broadcast(), UnorderedElementsAre(heir.get(), proxy.get()));
  EXPECT_THAT(phone_.takeLines(), IsEmpty());
}

TEST_F(Interceptors, KeptADeallocatedOneStaysUntilTheNextBroadcast) {
  Strong object = interceptor("Interceptor");
  const std::string id = add(object);
  object = {};
  remove(id);
  EXPECT_EQ(count(), 1U);
  PLAppDelegateSwizzler::broadcastToInterceptorsUsingSelector(sel(didFail), nullptr);
  EXPECT_EQ(count(), 1U) << "without a callback the list is not read";
  PLAppDelegateSwizzler::broadcastToInterceptorsUsingSelector(sel(didFail), [](::id) {});
  EXPECT_EQ(count(), 0U);
  EXPECT_THAT(
      phone_.takeLines(),
      ElementsAre(unknown + id,
                  "warning +[PLAppDelegateSwizzler broadcastToInterceptorsUsingSelector:callback:]_block_invoke: "
                  "AppDelegateProxy cannot find interceptor with ID " +
                      id + ". Removing the interceptor."));
}

TEST_F(Interceptors, UnregisteringAnUnknownIdentifierIsOnlyLogged) {
  PLAppDelegateSwizzler::unregisterAppDelegateInterceptorWithIdentifier(nullptr);
  remove("");
  remove("PLX_0x1");
  EXPECT_THAT(phone_.takeLines(),
              ElementsAre(unregistering + "cannot unregister empty interceptor ID.", unknown, unknown + "PLX_0x1"));
}

TEST_F(Interceptors, MayBeRegisteredAndUnregisteredDuringABroadcast) {
  const Strong first = interceptor("First");
  const Strong second = makeInstance(objc_getClass("First"));
  const Strong late = makeInstance(objc_getClass("First"));
  const std::string ids[] = {add(first), add(second)};
  EXPECT_THAT(broadcast([&](id) {
                for (const std::string& id : ids) remove(id);
                add(late);
              }),
              SizeIs(2))
      << "what was there at its beginning";
  EXPECT_THAT(broadcast(), ElementsAre(late.get()));
}

TEST_F(Interceptors, AreRemovedOnceByABroadcastInsideABroadcastAndStayWhenRegisteredAgain) {
  const Strong first = interceptor("First");
  add(first);
  Strong gone = makeInstance(objc_getClass("First"));
  const std::string id = add(gone);
  gone = {};
  broadcast([](::id) { PLAppDelegateSwizzler::broadcastToInterceptorsUsingSelector(sel(didFail), [](::id) {}); });
  EXPECT_THAT(phone_.takeLog(),
              ElementsAre("AppDelegateProxy cannot find interceptor with ID " + id + ". Removing the interceptor."));

  PLAppDelegateSwizzler::interceptors().set(id, platform::makeObject<PLXSafeWeakContainer>());
  Strong replacement = platform::makeObject<PLXSafeWeakContainer>();
  platform::objectState<PLXSafeWeakContainer>(replacement.get()).setObject(first.get());
  EXPECT_THAT(broadcast([&](::id) { PLAppDelegateSwizzler::interceptors().set(id, replacement); }), SizeIs(1));
  EXPECT_EQ(count(), 2U) << "the present entry is not the one whose object was deallocated";
  EXPECT_THAT(phone_.takeLog(), IsEmpty());
}

TEST_F(Interceptors, MayReleaseALaterOneDuringABroadcast) {
  const Strong first = interceptor("First");
  Strong second = makeInstance(objc_getClass("First"));
  add(first);
  const std::string id = add(second);
  EXPECT_THAT(broadcast([&](::id) {
                if (second) remove(id);
                second = {};
              }),
              ElementsAre(first.get()));
  EXPECT_EQ(count(), 1U);
}

TEST(WeakContainer, isAnObjectWithOneWeakProperty) {
  const PlatformProcess process;
  const Strong container = platform::makeObject<PLXSafeWeakContainer>();
  Strong object = makeInstance(objc_getClass("NSObject"));
  platform::send<void(id)>(container.get(), sel("setObject:"), object.get());
  {
    const platform::AutoreleasePool pool;
    EXPECT_EQ(platform::send<id()>(container.get(), sel("object")), object.get());
  }
  object = {};
  EXPECT_EQ(platform::send<id()>(container.get(), sel("object")), nullptr);
}

}  // namespace
