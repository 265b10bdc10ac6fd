#include "platform/exception.h"

#include <cstdio>

namespace platform {

void raiseUnrecognizedSelector(const char* className, const char* selector, const void* receiver, bool isClassMethod) {
  char address[2 * sizeof(receiver) + 3];
  std::snprintf(address, sizeof(address), "%p", receiver);
  throw Exception(invalidArgumentException, std::string(isClassMethod ? "+[" : "-[") + className + " " + selector +
                                                "]: unrecognized selector sent to " +
                                                (isClassMethod ? "class " : "instance ") + address);
}

}  // namespace platform
