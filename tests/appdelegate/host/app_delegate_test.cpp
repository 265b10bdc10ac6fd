// What only the simulated runtime shows: how objects are attached, instances that grow, classes that are hidden.

#include "appdelegate/PLXAppDelegateObserver.h"
#include "host/objc/objc_runtime.h"
#include "tests/appdelegate/app_delegate_fixture.h"

namespace {

using namespace testing;
using namespace test;
using platform::Strong;

using AppDelegateOfTheHost = AppDelegate;

TEST_F(AppDelegateOfTheHost, KeptTheTwoAssociationPolicies) {
  const Strong delegate = makeInstance(appDelegateClass("ShopDelegate"));
  startApplication(delegate);
  std::vector<objc_AssociationPolicy> ofTheMap;
  const Strong watcher = platform::makeObject<Watcher>([&](id) {
    for (const auto& each : host::sideData(delegate.get()).associations) {
      if (each.key == kPLXOrigIMPBySelectorKey) ofTheMap.push_back(each.policy);
      if (each.key == kPLXOrigClassKey) {
        EXPECT_EQ(each.policy, OBJC_ASSOCIATION_RETAIN_NONATOMIC);
      }
    }
  });
  PLAppDelegateSwizzler::proxyOrigDelegateIncludingAPNSMethods();
  EXPECT_THAT(ofTheMap, ElementsAre(OBJC_ASSOCIATION_RETAIN_NONATOMIC, OBJC_ASSOCIATION_RETAIN_NONATOMIC,
                                    OBJC_ASSOCIATION_RETAIN, OBJC_ASSOCIATION_RETAIN))
      << "empty, then filled";
}

/// Enlarges a class's instances when it is destroyed, which no class does by itself.
class Swelling {
 public:
  static constexpr const char* className = "Swelling";
  static void defineClass(platform::ClassFace<Swelling>&) {}
  explicit Swelling(Class cls) : cls_(cls) {}
  ~Swelling() { cls_->instanceSize += sizeof(void*); }

 private:
  Class cls_;
};

TEST_F(AppDelegateOfTheHost, KeptAssociationsAreAttachedBeforeTheSizeCheck) {
  const Class cls = appDelegateClass("ShopDelegate");
  const Strong delegate = makeInstance(cls);
  objc_setAssociatedObject(delegate.get(), kPLXOrigClassKey, platform::makeObject<Swelling>(cls).get(),
                           OBJC_ASSOCIATION_RETAIN_NONATOMIC);
  start(delegate);
  EXPECT_EQ(object_getClass(delegate.get()), cls);
  EXPECT_EQ(objc_getAssociatedObject(delegate.get(), kPLXOrigClassKey), platform::classObject(cls));
  EXPECT_EQ(PLAppDelegateSwizzler::fetchOriginalSelectorImplementation(sel(didFail), delegate.get()), std::nullopt)
      << "the map is there, and empty";
  EXPECT_NE(objc_getAssociatedObject(delegate.get(), kPLXOrigIMPBySelectorKey), nullptr);
  EXPECT_THAT(phone_.takeLines(),
              ElementsAre(creating + "Cannot create subclass of App Delegate, because the created subclass is not the "
                                     "same size. ShopDelegate"));
}

TEST_F(AppDelegateOfTheHost, KeptWithoutAnApplicationItCountsAsWatched) {
  host::Runtime::current().hideClass("UIApplication");
  start(makeInstance(appDelegateClass("ShopDelegate")));
  EXPECT_TRUE(PLXAppDelegateObserver::sharedInstance().isObserving()) << "of nothing";
  EXPECT_THAT(phone_.takeLines(), ElementsAre(notConforming));
}

}  // namespace
