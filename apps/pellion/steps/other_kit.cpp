#include "pellion/steps/other_kit.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <vector>

#include "host/objc/runtime_functions.h"
#include "host/phone/process.h"
#include "host/phone/ui_application.h"
#include "host/phone/user_notifications.h"
#include "pellion/run/scenario_phone.h"
#include "pellion/run/stack_limit.h"
#include "platform/class_face.h"
#include "platform/object_messages.h"
#include "platform/send.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"

namespace pellion {
namespace {

using platform::BlockPtr;
using platform::Strong;
using platform::Value;

/// The data of a kit that its methods use.
struct Rewiring {
  std::string name;
  std::size_t place;             ///< its index among the kits of the process
  Class superclass = nullptr;    ///< of the subclass that the kit has made
  std::map<SEL, IMP> replaced;   ///< the code that the kit's methods replaced
  std::map<SEL, SEL> exchanged;  ///< the kit's selector for the code that it exchanged with its own

  [[nodiscard]] IMP former(SEL callback) const {
    return superclass != nullptr ? class_getMethodImplementation(superclass, callback) : replaced.at(callback);
  }
};
using Rewirings = std::vector<Rewiring>;

Rewirings& rewirings() { return platform::Process::shared<Rewirings>(); }

template <Callback callback, std::size_t place, class... A>
void passOn(id self, SEL selector, A... arguments) {
  StackLimit::check();
  const Rewiring& kit = rewirings()[place];
  host::Process::current().report(
      "app", "called",
      Value::dictionary({{"name", kit.name}, {"callback", kindOf(callback).name}, {"passesOn", true}}));
  // Not `selector`: another kit that has exchanged this method calls it with a selector of its own.
  const SEL original = sel_registerName(kindOf(callback).selector);
  if (const auto own = kit.exchanged.find(original); own != kit.exchanged.end()) {
    platform::send<void(A...)>(self, own->second, arguments...);
  } else {
    // A call of super names its selector; a call of a replaced method passes on the one that it got.
    const SEL passed = kit.superclass != nullptr ? original : selector;
    reinterpret_cast<void (*)(id, SEL, A...)>(kit.former(original))(self, passed, arguments...);
  }
}

template <Callback callback, class... A>
IMP passingOn(std::size_t place) {
  static constexpr auto functions = []<std::size_t... places>(std::index_sequence<places...>) {
    return std::array{&passOn<callback, places, A...>...};
  }
  (std::make_index_sequence<mostKits>());
  return host::asIMP(functions.at(place));
}

IMP kitsImplementation(Callback callback, std::size_t place) {
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

struct Target {
  id owner;  ///< the object that has the delegate
  Strong delegate;
  std::span<const Callback> callbacks;
};

/// Makes `install` insert the kit's code for each callback that the delegate's class implements; returns their names.
template <class Install>
Value forEachMethod(const Rewiring& kit, const Target& target, Install install) {
  std::vector<Value> names;
  for (const Callback callback : target.callbacks) {
    const SEL selector = sel_registerName(kindOf(callback).selector);
    const Method method = class_getInstanceMethod(object_getClass(target.delegate.get()), selector);
    if (method == nullptr) continue;
    install(selector, method, kitsImplementation(callback, kit.place));
    names.emplace_back(kindOf(callback).name);
  }
  return Value::list(names);
}

// The ways of rewiring: each returns the names of the callbacks that the kit receives from now on.

Value replaceMethods(Rewiring& kit, const Target& target) {
  return forEachMethod(kit, target, [&](SEL selector, Method method, IMP own) {
    kit.replaced[selector] = method_setImplementation(method, own);
  });
}

Value exchangeMethods(Rewiring& kit, const Target& target) {
  return forEachMethod(kit, target, [&](SEL selector, Method method, IMP own) {
    const Class cls = object_getClass(target.delegate.get());
    const SEL mine = sel_registerName((kit.name + "_" + sel_getName(selector)).c_str());
    class_addMethod(cls, mine, own, method_getTypeEncoding(method));
    method_exchangeImplementations(method, class_getInstanceMethod(cls, mine));
    kit.exchanged[selector] = mine;
  });
}

Value subclass(Rewiring& kit, const Target& target) {
  if (!target.delegate) return Value::list({});
  kit.superclass = object_getClass(target.delegate.get());
  const std::string name = kit.name + "-" + std::to_string(kit.place) + "-" + class_getName(kit.superclass);
  const Class cls = objc_allocateClassPair(kit.superclass, name.c_str(), 0);
  Value overridden = forEachMethod(kit, target, [&](SEL selector, Method method, IMP own) {
    class_addMethod(cls, selector, own, method_getTypeEncoding(method));
  });
  objc_registerClassPair(cls);
  object_setClass(target.delegate.get(), cls);
  return overridden;
}

Value reassign(Rewiring& /*kit*/, const Target& target) {
  platform::setDelegate(target.owner, nullptr);
  platform::setDelegate(target.owner, target.delegate.get());
  return Value::list({});
}

struct Way {
  std::string_view name;
  Value (*rewire)(Rewiring& kit, const Target& target);
};
constexpr Way ways[] = {
    {"replaces", replaceMethods}, {"exchanges", exchangeMethods}, {"subclasses", subclass}, {"reassigns", reassign}};

Target targetNamed(const Value& side) {
  static constexpr Callback callbacks[] = {Callback::token, Callback::failure, Callback::background,
                                           Callback::foreground, Callback::response};
  const bool isApplications = side == Value("application");
  const id owner = isApplications ? host::UIApplication::sharedApplication() : host::currentNotificationCenter();
  return {owner, platform::property(owner, "delegate"),
          isApplications ? std::span(callbacks).first(3) : std::span(callbacks).last(2)};
}

const Shape wayShape{R"("replaces", "exchanges", "subclasses" or "reassigns")", [](const Value& value) {
                       return value.ifString() && std::ranges::find(ways, value.text(), &Way::name) != std::end(ways);
                     }};
const Shape sideShape{R"("application" or "notificationCenter")", [](const Value& value) {
                        return value == Value("application") || value == Value("notificationCenter");
                      }};
const Field kitFields[] = {{"name", &classNameShape, true}, {"does", &wayShape, true}, {"of", &sideShape, true}};

}  // namespace

const Shape kitShape{"an object with the kit's name, what it does, and to which delegate", isObject, kitFields};

void checkKits(const Scenario& scenario, const JSONNode& kit) {
  const auto isKit = [](const Step& step) { return step.kind->shape == &kitShape; };
  if (std::cmp_less_equal(std::ranges::count_if(scenario.steps, isKit), mostKits)) return;
  throw errorAt(scenario.file, kit.position,
                "a scenario may have at most " + std::to_string(mostKits) + " steps \"kit\"; leave some out");
}

void rewire(ScenarioPhone& phone, const JSONNode& kit) {
  const Value& way = kit.find("does")->value;
  const Value& side = kit.find("of")->value;
  phone.inProcess([&] {
    Rewirings& kits = rewirings();
    Rewiring& rewiring =
        kits.emplace_back(Rewiring{std::string(kit.find("name")->value.text()), kits.size(), {}, {}, {}});
    const Value callbacks = std::ranges::find(ways, way.text(), &Way::name)->rewire(rewiring, targetNamed(side));
    phone.report("app", "rewired",
                 Value::dictionary({{"name", rewiring.name}, {"does", way}, {"of", side}, {"callbacks", callbacks}}));
  });
}

std::optional<std::string> kitWith(Callback callback, IMP implementation) {
  for (const Rewiring& kit : rewirings()) {
    if (kitsImplementation(callback, kit.place) == implementation) return kit.name;
  }
  return std::nullopt;
}

}  // namespace pellion
