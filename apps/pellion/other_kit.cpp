#include "pellion/other_kit.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <vector>

#include "host/process.h"
#include "host/ui_application.h"
#include "host/user_notifications.h"
#include "pellion/scenario_run.h"
#include "pellion/stack_limit.h"
#include "platform/class_face.h"
#include "platform/send.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"

namespace pellion {
namespace {

using platform::BlockPtr;
using platform::Strong;
using platform::Value;

/// What a kit's methods know of it.
struct Rewiring {
  std::string name;
  Class superclass = nullptr;   ///< of the subclass it has made
  std::map<SEL, IMP> replaced;  ///< the code that was there before its own

  [[nodiscard]] IMP former(SEL selector) const {
    return superclass != nullptr ? class_getMethodImplementation(superclass, selector) : replaced.at(selector);
  }
};
using Rewirings = std::vector<Rewiring>;

Rewirings& rewirings() { return platform::Process::shared<Rewirings>(); }

template <Callback callback, std::size_t place, class... A>
void passOn(id self, SEL selector, A... arguments) {
  StackLimit::check();
  const Rewiring& kit = rewirings()[place];
  host::Process::current().tell(
      "app", "called",
      Value::dictionary({{"name", kit.name}, {"callback", kindOf(callback).name}, {"passesOn", true}}));
  reinterpret_cast<void (*)(id, SEL, A...)>(kit.former(selector))(self, selector, arguments...);
}

template <Callback callback, class... A>
IMP passingOn(std::size_t place) {
  static constexpr auto functions = []<std::size_t... places>(std::index_sequence<places...>) {
    return std::array{&passOn<callback, places, A...>...};
  }
  (std::make_index_sequence<mostKits>());
  return platform::implementationOf(functions.at(place));
}

IMP implementation(Callback callback, std::size_t place) {
  switch (callback) {
    case Callback::token: return passingOn<Callback::token, id, id>(place);
    case Callback::failure: return passingOn<Callback::failure, id, id>(place);
    case Callback::background:
      return passingOn<Callback::background, id, id, BlockPtr<void(platform::UIBackgroundFetchResult)>>(place);
    case Callback::foreground:
      return passingOn<Callback::foreground, id, id, BlockPtr<void(platform::UNNotificationPresentationOptions)>>(
          place);
    case Callback::response: return passingOn<Callback::response, id, id, BlockPtr<void()>>(place);
  }
  return nullptr;
}

// The ways of rewiring: each gives the callbacks that the kit hears of from now on.

std::vector<Value> replaceMethods(Rewiring& kit, std::size_t place, const Strong& delegate,
                                  std::span<const Callback> callbacks) {
  std::vector<Value> heard;
  for (const Callback callback : callbacks) {
    const SEL selector = sel_registerName(kindOf(callback).selector);
    const Method method = class_getInstanceMethod(object_getClass(delegate.get()), selector);
    if (method == nullptr) continue;
    kit.replaced[selector] = method_setImplementation(method, implementation(callback, place));
    heard.emplace_back(kindOf(callback).name);
  }
  return heard;
}

std::vector<Value> subclass(Rewiring& kit, std::size_t place, const Strong& delegate,
                            std::span<const Callback> callbacks) {
  std::vector<Value> heard;
  if (!delegate) return heard;
  kit.superclass = object_getClass(delegate.get());
  const std::string name = kit.name + "-" + std::to_string(place) + "-" + class_getName(kit.superclass);
  const Class cls = objc_allocateClassPair(kit.superclass, name.c_str(), 0);
  for (const Callback callback : callbacks) {
    const SEL selector = sel_registerName(kindOf(callback).selector);
    const Method method = class_getInstanceMethod(kit.superclass, selector);
    if (method == nullptr) continue;
    class_addMethod(cls, selector, implementation(callback, place), method_getTypeEncoding(method));
    heard.emplace_back(kindOf(callback).name);
  }
  objc_registerClassPair(cls);
  object_setClass(delegate.get(), cls);
  return heard;
}

bool isWay(const Value& value) {
  return value == Value("replaces") || value == Value("subclasses") || value == Value("reassigns");
}
bool isSide(const Value& value) { return value == Value("application") || value == Value("notificationCenter"); }

const Shape wayShape{R"("replaces", "subclasses" or "reassigns")", isWay};
const Shape sideShape{R"("application" or "notificationCenter")", isSide};
const Field kitFields[] = {{"name", &classNameShape, true}, {"does", &wayShape, true}, {"of", &sideShape, true}};

}  // namespace

const Shape kitShape{"an object with the kit's name, what it does, and of what", isObject, kitFields};

void checkKits(const Scenario& scenario, const JSONNode& kit) {
  const auto isKit = [](const Step& step) { return step.kind->shape == &kitShape; };
  if (std::cmp_less_equal(std::ranges::count_if(scenario.steps, isKit), mostKits)) return;
  throw errorAt(scenario.file, kit.position,
                "a scenario has room for " + std::to_string(mostKits) + " steps \"kit\"; leave some out");
}

void rewire(ScenarioRun& run, const JSONNode& description) {
  constexpr Callback callbacks[] = {Callback::token, Callback::failure, Callback::background, Callback::foreground,
                                    Callback::response};
  const Value& way = description.find("does")->value;
  const bool isApplications = description.find("of")->value == Value("application");
  const std::span<const Callback> own = isApplications ? std::span(callbacks).first(3) : std::span(callbacks).last(2);
  run.inProcess([&] {
    const id owner = isApplications ? host::UIApplication::sharedApplication() : host::currentNotificationCenter();
    const Strong delegate = platform::send<id()>(owner, sel_registerName("delegate"));
    const std::size_t place = rewirings().size();
    Rewiring& kit = rewirings().emplace_back();
    kit.name = description.find("name")->value.text();
    std::vector<Value> heard;
    if (way == Value("replaces")) heard = replaceMethods(kit, place, delegate, own);
    if (way == Value("subclasses")) heard = subclass(kit, place, delegate, own);
    run.tell("app", "rewired",
             Value::dictionary({{"name", kit.name},
                                {"does", way},
                                {"of", description.find("of")->value},
                                {"callbacks", Value::list(heard)}}));
    if (way != Value("reassigns")) return;
    platform::send<void(id)>(owner, sel_registerName("setDelegate:"), nullptr);
    platform::send<void(id)>(owner, sel_registerName("setDelegate:"), delegate.get());
  });
}

}  // namespace pellion
