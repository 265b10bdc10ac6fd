#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pellion/run/surroundings.h"

namespace pellion {

struct ExplainArguments {
  std::vector<std::string> paths;  ///< files, directories, or "-" for standard input, which is the default
  std::optional<std::string> configuration;
  std::vector<std::string> urlSchemes;
  std::optional<std::string> action;
  std::string format = "text";
  bool withAccount = false;
  bool fixes = false;
  bool isVoIP = false;
};

/// `pellion explain`: returns the exit status. Throws InputError when nothing can be explained.
int runExplain(const ExplainArguments& arguments, const Surroundings& surroundings);

}  // namespace pellion
