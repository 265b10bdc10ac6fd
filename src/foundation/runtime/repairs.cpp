#include "foundation/runtime/repairs.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "foundation/runtime/encodings.h"
#include "foundation/runtime/interposition.h"
#include "foundation/runtime/side_table.h"

namespace foundation {
namespace {

[[noreturn]] void endForLinkOrder(const char* name, const char* file) {
  std::fprintf(stderr,
               "PellionFoundation: %s is that of %s, so the repairs of the Objective-C runtime have no effect: link "
               "PellionFoundation before libobjc and libgnustep-base\n",
               name, file != nullptr ? file : "no library");
  std::_Exit(EXIT_FAILURE);
}

/// The repairs work by standing before the runtime's own functions of these names, for every library of the process.
void checkLinkOrder() {
  Dl_info own{};
  dladdr(reinterpret_cast<void*>(&foundation_repairRuntime), &own);
  std::size_t blockFunctionCount = 0;
  const char* const* blockFunctions = foundation_blockFunctions(&blockFunctionCount);
  for (const Names names : {objectMemoryFunctions(), dispatchTableFunctions(), forwardingFunctions(),
                            protocolFunctions(), resolutionFunctions(), Names(blockFunctions, blockFunctionCount)}) {
    for (const char* name : names) {
      Dl_info found{};
      dladdr(dlsym(RTLD_DEFAULT, name), &found);
      if (found.dli_fbase != own.dli_fbase) endForLinkOrder(name, found.dli_fname);
    }
  }
}

}  // namespace
}  // namespace foundation

void foundation_repairRuntime() {
  static const bool once = [] {
    foundation::checkLinkOrder();
    foundation_repairSignatures();
    foundation::watchEndsOfObjects();
    return true;
  }();
  static_cast<void>(once);
}
