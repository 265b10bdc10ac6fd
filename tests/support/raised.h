#pragma once

#include <string>

#include "platform/exception.h"

namespace test {

/// The platform's exception that `work` raises, as "name: reason".
template <class Work>
std::string raised(const Work& work) {
  try {
    work();
  } catch (const platform::Exception& exception) {
    return exception.name() + ": " + exception.reason();
  }
  return "nothing";
}

/// The text of the `Error` that `work` throws.
template <class Error, class Work>
std::string thrown(const Work& work) {
  try {
    work();
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing";
}

}  // namespace test
