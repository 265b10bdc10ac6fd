#include <bit>
#include <string>

#include "host/objc/objc_runtime.h"
#include "host/objects/nsinvocation.h"
#include "platform/exception.h"
#include "platform/send.h"
#include "services/call_interface.h"

// What happens to a message whose receiver has no method for it, in the documented order: resolveInstanceMethod: (in
// methodOrResolved), forwardingTargetForSelector:, methodSignatureForSelector: and forwardInvocation:, the exception.

namespace host {
namespace {

constexpr int deepestForwarding = 256;  // nested forwardInvocation: must not exhaust the stack

/// Whether the receiver's class has code for the selector.
bool implements(id receiver, SEL selector) {
  const IMP code = method_getImplementation(findMethod(object_getClass(receiver), selector));
  return code != nullptr && code != forwardingMarker();
}

class ForwardingDepth {
 public:
  ForwardingDepth(id receiver, SEL selector) {
    if (depth < deepestForwarding) {
      ++depth;
      return;
    }
    throw platform::Exception(platform::invalidArgumentException,
                              std::string("-[") + class_getName(object_getClass(receiver)) + " forwardInvocation:]: " +
                                  sel_getName(selector) + " is forwarded inside of its own forwarding, without end");
  }
  ForwardingDepth(const ForwardingDepth&) = delete;
  ForwardingDepth& operator=(const ForwardingDepth&) = delete;
  ~ForwardingDepth() { --depth; }

 private:
  static inline thread_local int depth = 0;
};

/// Returns the interface of the receiver's signature for the selector, or null.
const CallInterface* askSignature(id receiver, SEL selector) {
  static const SEL question = sel_registerName("methodSignatureForSelector:");
  if (!implements(receiver, question)) return nullptr;
  const id signature = platform::send<id(SEL)>(receiver, question, selector);
  if (signature == nullptr) return nullptr;
  if (const CallInterface* interface = interfaceOf(signature)) return interface;
  throw platform::Exception(platform::invalidArgumentException,
                            std::string("-[") + class_getName(object_getClass(receiver)) +
                                " methodSignatureForSelector:]: returned an object of class " +
                                class_getName(object_getClass(signature)) + " for " + sel_getName(selector));
}

/// A doesNotRecognizeSelector: of the receiver's own may return: then the message gives zero.
std::uint64_t refuse(id receiver, SEL selector) {
  static const SEL refusal = sel_registerName("doesNotRecognizeSelector:");
  if (!implements(receiver, refusal)) raiseUnrecognized(receiver, selector);
  platform::send<void(SEL)>(receiver, refusal, selector);
  return 0;
}

std::uint64_t invokeForwarding(const CallInterface& interface, std::span<const std::uint64_t> words) {
  static const SEL forward = sel_registerName("forwardInvocation:");
  const platform::Strong receiver = std::bit_cast<id>(words[0]);
  const auto selector = std::bit_cast<SEL>(words[1]);
  if (!implements(receiver.get(), forward)) return refuse(receiver.get(), selector);
  const ForwardingDepth depth(receiver.get(), selector);
  const platform::Strong invocation = makeInvocation(interface, words);
  platform::send<void(id)>(receiver.get(), forward, invocation.get());
  return resultOf(invocation.get());
}

/// The forwarding marker when code calls it directly. How it is called is known only from the method that is found.
std::uint64_t forwardUntyped(std::array<std::uint64_t, 6> words) {
  id receiver = std::bit_cast<id>(words[0]);
  const auto selector = std::bit_cast<SEL>(words[1]);
  const auto requireWords = [&](const CallInterface* interface) {
    if (CallInterface::wordRegisters == words.size() && interface != nullptr && interface->takesWords()) return;
    throw platform::Exception(platform::invalidArgumentException,
                              std::string("the forwarding marker was called directly for ") + sel_getName(selector) +
                                  ", whose arguments it cannot pass on; send a message instead");
  };
  for (int hop = 0; hop < longestForwarding; ++hop) {
    const id target = forwardingTarget(receiver, selector);
    if (target == nullptr) break;
    receiver = target;
    const Method method = methodOrResolved(object_getClass(receiver), selector);
    const IMP code = method_getImplementation(method);
    if (code == nullptr || code == forwardingMarker()) continue;
    const CallInterface* interface = CallInterface::find(method_getTypeEncoding(method));
    requireWords(interface);
    return interface->call(code, receiver, words);
  }
  words[0] = std::bit_cast<std::uint64_t>(receiver);
  const CallInterface* interface = askSignature(receiver, selector);
  if (interface == nullptr) return refuse(receiver, selector);
  requireWords(interface);
  return invokeForwarding(*interface, words);
}

/// Sends `forwardInvocation:` to the receiver (the first word) with the call as an invocation, and returns its result.
/// Raises "unrecognized selector" when the receiver has no method signature for the selector (the second word).
std::uint64_t forwardMessage(const CallInterface& interface, std::span<const std::uint64_t> words) {
  const id receiver = std::bit_cast<id>(words[0]);
  const auto selector = std::bit_cast<SEL>(words[1]);
  const CallInterface* declared = askSignature(receiver, selector);
  if (declared == nullptr) return refuse(receiver, selector);
  if (declared->letters() != interface.letters()) {
    raiseOtherTypes(receiver, selector, interface.types(), declared->types());
  }
  return invokeForwarding(*declared, words);
}

}  // namespace

void raiseUnrecognized(id receiver, SEL selector) {
  const Class cls = object_getClass(receiver);
  platform::raiseUnrecognizedSelector(class_getName(cls), sel_getName(selector), receiver, class_isMetaClass(cls));
}

id forwardingTarget(id receiver, SEL selector) {
  static const SEL question = sel_registerName("forwardingTargetForSelector:");
  if (!implements(receiver, question)) return nullptr;
  const id target = platform::send<id(SEL)>(receiver, question, selector);
  return target == receiver ? nullptr : target;
}

platform::MethodCall forwardedCall(id receiver, const char* types) {
  return {receiver, CallInterface::find(types)->entryTo(&forwardMessage)};
}

IMP forwardingMarker() {
  using Word = std::uint64_t;
  constexpr auto code = +[](Word receiver, Word selector, Word a, Word b, Word c, Word d) {
    return forwardUntyped({receiver, selector, a, b, c, d});
  };
  return reinterpret_cast<IMP>(code);
}

}  // namespace host
