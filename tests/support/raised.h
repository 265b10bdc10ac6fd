#pragma once

#include <string>

#include "platform/exception.h"

namespace test {

/// The reason of the invalid-argument exception that `work` raises, or what it did instead.
template <class Work>
std::string raisedReason(const Work& work) {
  try {
    work();
  } catch (const platform::Exception& exception) {
    return exception.name() == platform::invalidArgumentException ? exception.reason() : exception.name();
  }
  return "nothing raised";
}

}  // namespace test
