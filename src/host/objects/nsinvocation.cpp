#include "host/objects/nsinvocation.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <deque>
#include <string>

#include "host/objc/object_variable.h"
#include "platform/exception.h"
#include "value/type_encoding.h"

// NSMethodSignature and NSInvocation: a message as an object, for forwardInvocation:.

namespace host {
namespace {

using platform::Exception;
using platform::invalidArgumentException;
using platform::Strong;

struct MethodSignature {
  const CallInterface* interface;

  static MethodSignature& state(id self) { return variableOf<MethodSignature>(self); }
  static std::string part(id self, std::size_t index) {
    return value::typeParts(state(self).interface->types()).at(index);
  }

  static id make(id, SEL, const char* types) {
    const id signature = makeMethodSignature(types);
    if (signature != nullptr) return signature;
    throw Exception(invalidArgumentException, std::string("+[NSMethodSignature signatureWithObjCTypes:]: \"") +
                                                  (types == nullptr ? "(null)" : types) +
                                                  "\" is not the encoding of a method");
  }
  static std::uint64_t numberOfArguments(id self, SEL) { return state(self).interface->count(); }
  static std::uint64_t methodReturnLength(id self, SEL) { return state(self).interface->resultSize(); }
  static const char* methodReturnType(id self, SEL) { return interned(part(self, 0)); }
  static const char* argumentType(id self, SEL, std::uint64_t index) {
    const std::uint64_t count = state(self).interface->count();
    if (index < count) return interned(part(self, index + 1));
    throw Exception(invalidArgumentException, "-[NSMethodSignature getArgumentTypeAtIndex:]: index (" +
                                                  std::to_string(index) + ") out of bounds [0, " +
                                                  std::to_string(count - 1) + "]");
  }
  static bool isEqual(id self, SEL, id other) {
    const CallInterface* interface = interfaceOf(other);
    return interface != nullptr && interface->letters() == state(self).interface->letters();
  }
  static std::uint64_t hash(id self, SEL) { return std::hash<std::string>()(state(self).interface->letters()); }
  static id alloc(id, SEL) {
    throw Exception(invalidArgumentException, "+[NSMethodSignature alloc]: use signatureWithObjCTypes:");
  }
};

struct InvocationState {
  const CallInterface* interface;
  std::vector<std::uint64_t> words;
  std::uint64_t result = 0;
  std::vector<Strong> retained = {};
  std::deque<std::string> texts = {};
  bool retainsArguments = false;

  /// With retainArguments: keeps what a word refers to, as its type says. A text is copied.
  void keep(std::size_t index) {
    const char letter = interface->letters()[index + 1];
    std::uint64_t& word = words[index];
    if (word == 0) return;
    if (letter == '@' || letter == '#') {
      retained.emplace_back(std::bit_cast<id>(word));
    } else if (letter == '?') {
      retained.push_back(Strong::adopt(platform::blockCopy(std::bit_cast<id>(word))));
      word = std::bit_cast<std::uint64_t>(retained.back().get());
    } else if (letter == '*') {
      word = std::bit_cast<std::uint64_t>(texts.emplace_back(std::bit_cast<const char*>(word)).c_str());
    }
  }
};

struct Invocation {
  static InvocationState& state(id self) { return variableOf<InvocationState>(self); }
  static std::size_t checked(id self, const char* method, std::int64_t index) {
    const std::size_t count = state(self).interface->count();
    if (index >= 0 && static_cast<std::size_t>(index) < count) return static_cast<std::size_t>(index);
    throw Exception(invalidArgumentException, std::string("-[NSInvocation ") + method + "]: index (" +
                                                  std::to_string(index) + ") out of bounds [0, " +
                                                  std::to_string(count - 1) + "]");
  }

  static id make(id, SEL, id signature) {
    const CallInterface* interface = interfaceOf(signature);
    if (interface != nullptr) return makeInvocation(*interface, {}).autoreleased();
    throw Exception(invalidArgumentException,
                    "+[NSInvocation invocationWithMethodSignature:]: method signature argument cannot be nil");
  }
  static id methodSignature(id self, SEL) { return makeMethodSignature(state(self).interface->types()); }
  static id target(id self, SEL) { return std::bit_cast<id>(state(self).words[0]); }
  static void setTarget(id self, SEL, id target) { set(self, &target, 0); }
  static SEL selector(id self, SEL) { return std::bit_cast<SEL>(state(self).words[1]); }
  static void setSelector(id self, SEL, SEL selector) { set(self, &selector, 1); }
  static void set(id self, const void* location, std::size_t index) {
    InvocationState& call = state(self);
    std::memcpy(&call.words[index], location, call.interface->argumentSize(index));
    if (call.retainsArguments) call.keep(index);
  }
  static void setArgument(id self, SEL, void* location, std::int64_t index) {
    set(self, location, checked(self, "setArgument:atIndex:", index));
  }
  static void getArgument(id self, SEL, void* location, std::int64_t index) {
    const std::size_t place = checked(self, "getArgument:atIndex:", index);
    std::memcpy(location, &state(self).words[place], state(self).interface->argumentSize(place));
  }
  static void setReturnValue(id self, SEL, void* location) {
    state(self).result = 0;
    std::memcpy(&state(self).result, location, state(self).interface->resultSize());
  }
  static void getReturnValue(id self, SEL, void* location) {
    std::memcpy(location, &state(self).result, state(self).interface->resultSize());
  }
  static void invoke(id self, SEL) { invokeOn(self, nullptr, target(self, nullptr)); }
  static void invokeWithTarget(id self, SEL, id target) {
    setTarget(self, nullptr, target);
    invokeOn(self, nullptr, target);
  }
  static void invokeOn(id self, SEL, id receiver) {
    const Strong kept(self);  // the method called may release it
    InvocationState& call = state(self);
    call.result = 0;
    if (receiver == nullptr) return;
    const SEL message = selector(self, nullptr);
    if (message == nullptr) throw Exception(invalidArgumentException, "-[NSInvocation invoke]: no selector is set");
    const platform::MethodCall found = platform::methodForCall(receiver, message, call.interface->types());
    call.result = call.interface->call(found.implementation, found.receiver, call.words);
  }
  static void retainArguments(id self, SEL) {
    InvocationState& call = state(self);
    if (std::exchange(call.retainsArguments, true)) return;
    for (std::size_t i = 0; i < call.interface->count(); ++i) call.keep(i);
  }
  static bool argumentsRetained(id self, SEL) { return state(self).retainsArguments; }
  static id alloc(id, SEL) {
    throw Exception(invalidArgumentException, "+[NSInvocation alloc]: use invocationWithMethodSignature:");
  }
};

}  // namespace

id makeMethodSignature(const char* types) {
  const CallInterface* interface = CallInterface::find(types);
  if (interface == nullptr) return nullptr;
  Strong made = Strong::adopt(class_createInstance(Runtime::current().methodSignature, 0));
  new (&MethodSignature::state(made.get())) MethodSignature{interface};
  return std::move(made).autoreleased();
}

const CallInterface* interfaceOf(id methodSignature) {
  const Class wanted = Runtime::current().methodSignature;
  const Class cls = findClass(object_getClass(methodSignature), [wanted](Class each) { return each == wanted; });
  return cls == nullptr ? nullptr : MethodSignature::state(methodSignature).interface;
}

Strong makeInvocation(const CallInterface& interface, std::span<const std::uint64_t> words) {
  std::vector<std::uint64_t> own(words.begin(), words.end());
  own.resize(std::max(interface.count(), CallInterface::wordRegisters));
  Strong made = Strong::adopt(class_createInstance(Runtime::current().invocation, 0));
  new (&Invocation::state(made.get())) InvocationState{&interface, std::move(own)};
  return made;
}

std::uint64_t resultOf(id invocation) { return Invocation::state(invocation).result; }

void defineInvocationClasses(Runtime& runtime) {
  runtime.methodSignature = runtime.allocateClassPair(runtime.object, "NSMethodSignature");
  addVariable<MethodSignature>(runtime.methodSignature);
  platform::ClassFace<MethodSignature>(runtime.methodSignature)
      .method<MethodSignature::numberOfArguments>("numberOfArguments")
      .method<MethodSignature::methodReturnLength>("methodReturnLength")
      .method<MethodSignature::methodReturnType>("methodReturnType")
      .method<MethodSignature::argumentType>("getArgumentTypeAtIndex:")
      .method<MethodSignature::isEqual>("isEqual:")
      .method<MethodSignature::hash>("hash")
      .classMethod<MethodSignature::make>("signatureWithObjCTypes:")
      .classMethod<MethodSignature::alloc>("alloc");
  runtime.registerClassPair(runtime.methodSignature);
  runtime.invocation = runtime.allocateClassPair(runtime.object, "NSInvocation");
  addVariable<InvocationState>(runtime.invocation);
  platform::ClassFace<Invocation>(runtime.invocation)
      .method<Invocation::methodSignature>("methodSignature")
      .method<Invocation::target>("target")
      .method<Invocation::setTarget>("setTarget:")
      .method<Invocation::selector>("selector")
      .method<Invocation::setSelector>("setSelector:")
      .method<Invocation::setArgument>("setArgument:atIndex:")
      .method<Invocation::getArgument>("getArgument:atIndex:")
      .method<Invocation::setReturnValue>("setReturnValue:")
      .method<Invocation::getReturnValue>("getReturnValue:")
      .method<Invocation::invoke>("invoke")
      .method<Invocation::invokeWithTarget>("invokeWithTarget:")
      .method<Invocation::retainArguments>("retainArguments")
      .method<Invocation::argumentsRetained>("argumentsRetained")
      .classMethod<Invocation::make>("invocationWithMethodSignature:")
      .classMethod<Invocation::alloc>("alloc");
  runtime.registerClassPair(runtime.invocation);
}

}  // namespace host
