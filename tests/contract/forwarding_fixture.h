#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "platform/exception.h"
#include "platform/object_messages.h"
#include "tests/contract/contract.h"
#include "tests/support/runtime_objects.h"

namespace test {

using platform::send;
using platform::Strong;

inline id signatureOf(const char* types) {
  return send<id(const char*)>(platform::classObject(objc_getClass("NSMethodSignature")),
                               sel("signatureWithObjCTypes:"), types);
}
template <class T>
T argument(id invocation, std::int64_t index) {
  T value{};
  send<void(void*, std::int64_t)>(invocation, sel("getArgument:atIndex:"), &value, index);
  return value;
}

/// Messages that the receiver's class has no method for.
class Forwarding : public Contract {
 public:
  Forwarding() { current = this; }
  ~Forwarding() override { current = nullptr; }

  static void forwardInvocation(id, SEL, id invocation) {
    note("invocation");
    if (current->work) return current->work(invocation);
    send<void(id)>(invocation, sel("invokeWithTarget:"), current->target.get());
  }
  /// The receiver's class gets the methods that forward to `target`, with the signature `types`.
  void forwardInvocations(const char* newTypes) {
    types = newTypes;
    addMethod(
        cls, "methodSignatureForSelector:", +[](id, SEL, SEL) {
          note("signature");
          return current->types == nullptr ? nullptr : signatureOf(current->types);
        });
    addMethod<&forwardInvocation>(cls, "forwardInvocation:");
  }

  /// A backend may ask more than once.
  static void note(const char* question) {
    auto& asked = current->asked;
    if (std::find(asked.begin(), asked.end(), question) == asked.end()) asked.emplace_back(question);
  }

  static inline Forwarding* current = nullptr;
  const platform::AutoreleasePool pool;
  Class cls = makeClass("ContractReceiver");
  Class other = makeClass("ContractTarget");
  Strong object = makeInstance(cls);
  Strong target = makeInstance(other);
  const char* types = nullptr;
  std::vector<std::string> asked;
  std::function<void(id)> work;
};

}  // namespace test
