// References, weak slots, attached objects, pools, blocks.

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <thread>

#include "tests/contract/contract.h"
#include "tests/support/runtime_objects.h"

namespace {

using namespace test;
using platform::AutoreleasePool;
using platform::Block;
using platform::Strong;
using platform::Weak;

class Ownership : public Contract {
 protected:
  int deaths = 0;
  const char key = 0;
};

TEST_F(Ownership, ReferencesAreCounted) {
  Strong object = platform::makeObject<Mortal>(&deaths);
  Strong copy = object;
  object = {};
  EXPECT_EQ(deaths, 0);
  copy = {};
  EXPECT_EQ(deaths, 1);
  EXPECT_EQ(objc_retain(nullptr), nullptr);
  objc_release(nullptr);
}

TEST_F(Ownership, PoolsReleaseAtTheirEndInnerPoolsFirst) {
  void* outer = objc_autoreleasePoolPush();
  const auto leave = [&] { objc_autorelease(objc_retain(platform::makeObject<Mortal>(&deaths).get())); };
  leave();
  objc_autoreleasePoolPush();
  leave();
  void* inner = objc_autoreleasePoolPush();
  leave();
  objc_autoreleasePoolPop(inner);
  EXPECT_EQ(deaths, 1);
  objc_autoreleasePoolPop(outer);
  EXPECT_EQ(deaths, 3) << "a pool left open ends with the one around it";
}

bool sawNull = false;
Weak* weakToDying = nullptr;
void dieObserved(id self, SEL selector) {
  objc_release(objc_retain(self));  // must not deallocate again
  sawNull = !weakToDying->load();
  const IMP inherited = class_getMethodImplementation(objc_getClass("NSObject"), selector);
  platform::callImplementation<void()>(inherited, self, selector);
}

TEST_F(Ownership, AWeakSlotReadsNullOnceDeallocationHasBegun) {
  const Class cls = makeClass("ContractDying");
  addMethod<&dieObserved>(cls, "dealloc");
  Strong object = makeInstance(cls);
  Weak weak(object.get());
  weakToDying = &weak;
  EXPECT_EQ(weak.load(), object);
  object = {};
  EXPECT_TRUE(sawNull);
  EXPECT_FALSE(weak.load());
}

void storeWhileDying(id self, SEL selector) {
  weakToDying->store(self);
  sawNull = !weakToDying->load();
  const IMP inherited = class_getMethodImplementation(objc_getClass("NSObject"), selector);
  platform::callImplementation<void()>(inherited, self, selector);
}

TEST_F(Ownership, AnObjectBeingDeallocatedGetsNoNewWeakReference) {
  const Class cls = makeClass("ContractDying");
  addMethod<&storeWhileDying>(cls, "dealloc");
  Weak weak;
  weakToDying = &weak;
  makeInstance(cls) = {};
  EXPECT_TRUE(sawNull);
}

TEST_F(Ownership, WeakSlotsAreReboundCopiedAndDropped) {
  Strong first = platform::makeObject<Mortal>(&deaths);
  const Strong second = platform::makeObject<Mortal>(&deaths);
  Weak weak(first.get());
  auto copy = std::make_unique<Weak>(weak);
  weak.store(second.get());
  EXPECT_EQ(copy->load(), first);
  copy.reset();  // its slot must no longer be written to
  first = {};
  EXPECT_EQ(deaths, 1);
  EXPECT_EQ(weak.load(), second);
}

TEST_F(Ownership, AnAttachedObjectIsHeldUntilItIsReplacedRemovedOrItsOwnerEnds) {
  for (const auto policy : {OBJC_ASSOCIATION_RETAIN, OBJC_ASSOCIATION_RETAIN_NONATOMIC}) {
    deaths = 0;
    Strong owner = makeInstance(objc_getClass("NSObject"));
    const auto set = [&](const Strong& value) { objc_setAssociatedObject(owner.get(), &key, value.get(), policy); };
    set(platform::makeObject<Mortal>(&deaths));
    {
      const AutoreleasePool pool;
      EXPECT_NE(objc_getAssociatedObject(owner.get(), &key), nullptr);
      EXPECT_EQ(objc_getAssociatedObject(owner.get(), &deaths), nullptr) << "another key";
    }
    EXPECT_EQ(deaths, 0);
    set(platform::makeObject<Mortal>(&deaths));
    EXPECT_EQ(deaths, 1);
    set({});
    EXPECT_EQ(deaths, 2);
    set(platform::makeObject<Mortal>(&deaths));
    owner = {};
    EXPECT_EQ(deaths, 3);
  }
  objc_setAssociatedObject(nullptr, &key, nullptr, OBJC_ASSOCIATION_RETAIN);
  EXPECT_EQ(objc_getAssociatedObject(nullptr, &key), nullptr);
}

TEST_F(Ownership, AttachedObjectsAreAssignedOrCopied) {
  const Strong owner = makeInstance(objc_getClass("NSObject"));
  objc_setAssociatedObject(owner.get(), &key, platform::makeObject<Mortal>(&deaths).get(), OBJC_ASSOCIATION_ASSIGN);
  EXPECT_EQ(deaths, 1) << "assigning holds nothing";
  const Block<int()> block([] { return 3; });
  objc_setAssociatedObject(owner.get(), &key, blockId(block.get()), OBJC_ASSOCIATION_COPY_NONATOMIC);
  EXPECT_EQ(objc_getAssociatedObject(owner.get(), &key), blockId(block.get()));
  const Class cls = makeClass("ContractCopied");
  addMethod(
      cls, "copy", +[](id, SEL) { return objc_retain(platform::classObject(objc_getClass("NSObject"))); });
  objc_setAssociatedObject(owner.get(), &key, makeInstance(cls).get(), OBJC_ASSOCIATION_COPY_NONATOMIC);
  EXPECT_EQ(objc_getAssociatedObject(owner.get(), &key), platform::classObject(objc_getClass("NSObject")));
}

TEST_F(Ownership, WeakSlotsOfAnyObjectReadNullAtItsEnd) {
  Strong proxy = makeInstance(makeClass("ContractProxy", objc_getClass("NSProxy")));
  Strong owner = makeInstance(objc_getClass("NSObject"));
  Block<void()> block([this] { ++deaths; });
  const Weak weak[] = {Weak(proxy.get()), Weak(owner.get()), Weak(blockId(block.get()))};
  objc_setAssociatedObject(owner.get(), &key, proxy.get(), OBJC_ASSOCIATION_ASSIGN);
  objc_setAssociatedObject(owner.get(), &key, nullptr, OBJC_ASSOCIATION_ASSIGN);
  for (const Weak& each : weak) EXPECT_TRUE(each.load());
  proxy = owner = {};
  block = {};
  for (const Weak& each : weak) EXPECT_FALSE(each.load());
}

TEST_F(Ownership, ABlockHasOneIdentityAndOneCapturedState) {
  const Block<int(int)> block([sum = 0](int number) mutable { return sum += number; });
  const Block<int(int)> copy = block;
  EXPECT_EQ(block(3), 3);
  EXPECT_EQ(copy(4), 7);
  EXPECT_EQ(block.get(), copy.get());
  const Strong copied = Strong::adopt(platform::send<id()>(blockId(block.get()), sel("copy")));
  EXPECT_EQ(copied.get(), blockId(block.get())) << "copying a block on the heap retains it";
}

TEST_F(Ownership, ABlockReleasesWhatItCapturedWithItsLastReference) {
  auto block = std::make_unique<Block<void()>>([kept = platform::makeObject<Mortal>(&deaths)] {});
  auto pointer = std::make_unique<Block<void()>>(block->get());
  block.reset();
  EXPECT_EQ(deaths, 0);
  pointer.reset();
  EXPECT_EQ(deaths, 1);
}

TEST_F(Ownership, ANullBlockThatIsCalledIsAProgrammingError) {
  EXPECT_EQ(programmingErrorIn([] { Block<void()>()(); }), "a null block was called");
}

TEST_F(Ownership, ABlockPassesEveryKindOfArgument) {
  const Block<double(float, id, std::int64_t, bool)> block([](float a, id b, std::int64_t c, bool d) {
    return b == nullptr || !d ? 0 : static_cast<double>(a) + static_cast<double>(c);
  });
  const Strong object = makeInstance(objc_getClass("NSObject"));
  EXPECT_EQ(block(0.5F, object.get(), -3, true), -2.5);
}

TEST_F(Ownership, ABlockAlignsItsState) {
  struct alignas(std::max_align_t) Aligned {
    bool isAligned() const { return reinterpret_cast<std::uintptr_t>(this) % alignof(Aligned) == 0; }
  };
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(Block<bool()>([aligned = Aligned()] { return aligned.isAligned(); })());
}

TEST_F(Ownership, AWeakSlotMayEndWhileAnotherThreadReleasesItsObject) {
  for (int round = 0; round < 100; ++round) {
    Strong object = platform::makeObject<Mortal>(&deaths);
    auto weak = std::make_unique<Weak>(object.get());
    std::thread other([&] {
      const OtherThread scope(process);
      object = {};
    });
    while (weak->load()) std::this_thread::yield();
    weak.reset();
    other.join();
  }
  EXPECT_EQ(deaths, 100);
}

TEST_F(Ownership, ThreadsShareObjectsClassesAndWeakSlots) {
  const Class cls = makeClass("ContractShared");
  addMethod(cls, "answer", answer<1>);
  const Method method = class_getInstanceMethod(cls, sel("answer"));
  Strong object = makeInstance(cls);
  Weak weak(object.get());
  std::atomic<int> strange{0};
  const auto use = [&](int thread) {
    const OtherThread scope(process);
    for (int round = 0; round < 200; ++round) {
      const Strong loaded = weak.load();
      if (!loaded) continue;
      const int got = ask(loaded.get());
      if (got < 1 || got > 3) ++strange;
      if (thread == 0) method_setImplementation(method, codeOf(round % 2 ? answer<1> : answer<2>));
      if (thread == 1) addMethod(cls, ("method" + std::to_string(round)).c_str(), answer<3>);
      if (thread == 2) weak.store(loaded.get());
      objc_setAssociatedObject(loaded.get(), &key, loaded.get(), OBJC_ASSOCIATION_ASSIGN);
      if (thread == 3 && platform::boxed(platform::Value(round)) == nullptr) ++strange;
    }
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) threads.emplace_back(use, thread);
  object = {};  // the last strong reference ends the object
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(strange, 0);
  EXPECT_FALSE(weak.load());
}

}  // namespace
