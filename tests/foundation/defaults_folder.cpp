// Keeps the user defaults of a test's program in the build's folder, also when it is started by hand and not by CTest.
// Foundation reads the variable while it is loaded, so a program without it starts itself again.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

[[gnu::constructor]] void useFolderOfBuild(int /*count*/, char** arguments, char** /*environment*/) {
  constexpr const char* variable = "GNUSTEP_CONFIG_FILE";
  if (std::getenv(variable) != nullptr) return;
  setenv(variable, PELLION_GNUSTEP_CONFIG, 1);
  execv("/proc/self/exe", arguments);
  std::perror("/proc/self/exe");
  std::_Exit(127);
}

}  // namespace
