#pragma once

#include <memory>
#include <vector>

#include "platform/objc.h"

namespace host {

/// A method as its class declares it.
struct DeclaredMethod {
  SEL name;
  IMP implementation;
  const char* types;  ///< interned; null when none was declared
  bool operator==(const DeclaredMethod&) const = default;
};

/// The methods that a class has when it is registered, in the order of their selectors' addresses.
class MethodList {
 public:
  [[nodiscard]] const DeclaredMethod* find(SEL name) const;
  void add(const DeclaredMethod& method);
  [[nodiscard]] const std::vector<DeclaredMethod>& methods() const { return methods_; }

 private:
  std::vector<DeclaredMethod> methods_;
};

/// Returns the program's one list of these methods, null for none. It lives as long as a class that has it. Any thread.
std::shared_ptr<MethodList> sharedMethodList(const std::shared_ptr<MethodList>& list);

}  // namespace host
