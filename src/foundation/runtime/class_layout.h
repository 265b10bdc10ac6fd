#pragma once

#include "platform/objc.h"

// What the compilers write for a class and a protocol (GCC's runtime, ABI version 8). The runtime has no functions for
// what the repairs need of them.

extern "C" IMP objc_msg_lookup(id receiver, SEL selector);  // makes the table of a class that has none yet

namespace foundation {

struct MethodLayout {
  SEL name;
  const char* types;
  IMP implementation;
};
struct MethodList {
  MethodList* next;
  int count;
  MethodLayout methods[1];
};
struct ClassLayout {
  Class isa;
  Class superclass;
  const char* name;
  long version;
  unsigned long info;
  long instanceSize;
  void* variables;
  MethodList* methods;
};
constexpr unsigned long isResolved = 0x8;
constexpr unsigned long isInConstruction = 0x10;

/// The optional methods of a protocol, which clang writes and the runtime does not read. GCC writes neither.
struct OptionalMethods {
  int count;
  struct {
    const char* name;
    const char* types;
  } methods[1];
};
struct ProtocolLayout {
  Class isa;
  const char* name;
  struct Adopted {
    Adopted* next;
    std::size_t count;
    Protocol* protocols[1];
  } * adopted;
  void* instanceMethods;
  void* classMethods;
  OptionalMethods* optionalInstanceMethods;
  OptionalMethods* optionalClassMethods;
};

inline ClassLayout& layoutOf(Class cls) { return *reinterpret_cast<ClassLayout*>(cls); }

}  // namespace foundation
