#pragma once

#include <string>
#include <string_view>

namespace test {

/// A test that one backend skips, because it cannot do what the platform documents, or because the test is about what
/// this backend alone has. A test that lies in a folder host/ is not built for the other backend.
struct Difference {
  std::string_view folder;  ///< of tests/
  std::string_view test;    ///< suite and name; "*" at the end stands for all that begin so
  std::string_view skippedBy;
  const char* reason;
};

// clang-format off
inline constexpr Difference differences[] = {
    {"contract", "Classes.AsReceiversHaveTheInstanceMethodsOfTheRoot", "foundation",
     "GCC's libobjc lets root metaclasses inherit from Object"},
    {"contract", "Sends.TellObjectsBlocksClassesAndPointersApart", "foundation",
     "methods are declared there with one letter for objects, blocks and classes, and with another for pointers"},
    {"contract", "Forwarding.AnInvocationThatIsNotInvokedGivesZero", "foundation",
     "an invocation of GNUstep Base returns what its memory happens to hold"},
    {"contract", "KeyValueObserving.UnhandledChangeRaises", "foundation",
     "GNUstep Base raises NSInvalidArgumentException for a change that an observer does not handle"},
    {"appdelegate", "AppDelegateOfTheHost.*", "foundation",
     "only the simulated runtime shows how objects are attached, enlarges instances and hides classes"},
    {"interception", "InterceptionOfTheHost.*", "foundation",
     "only the simulated phone hides classes, counts observers, sets the log level and takes the name of a notifying class"},
    {"interception", "Classes/KeptAMissingClass.*", "foundation",
     "only the simulated runtime hides classes"},
    {"interception", "InterceptionsEnd.*", "foundation",
     "a program over Foundation is one process, which ends with it"},
    {"interception", "Threads.*", "foundation",
     "the system's events come through the virtual main queue and requests through the local backend"},
    {"interception", "Ways/ForwardingDelegates.AreIntercepted/Target", "foundation",
     "GNUstep Base does not send forwardingTargetForSelector: for messages of compiled code"},
    {"interception", "Ways/ForwardingDelegates.SayWhatTheirWorkerSays/Proxy", "foundation",
     "NSProxy of GNUstep Base answers respondsToSelector: for its own class first"},
};
// clang-format on

constexpr bool matches(std::string_view pattern, std::string_view name) {
  return pattern.ends_with('*') ? name.starts_with(pattern.substr(0, pattern.size() - 1)) : name == pattern;
}

/// The reason why this program's backend skips a test, or null.
inline const char* differenceOf(std::string_view suite, std::string_view test) {
  const std::string name = std::string(suite) + "." + std::string(test);
  for (const Difference& each : differences) {
    if (each.folder == PELLION_TEST_FOLDER && each.skippedBy == PELLION_TEST_BACKEND && matches(each.test, name)) {
      return each.reason;
    }
  }
  return nullptr;
}

}  // namespace test
