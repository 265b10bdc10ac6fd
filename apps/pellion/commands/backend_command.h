#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pellion/run/surroundings.h"

namespace CLI {
class App;
}

namespace pellion {

struct BackendArguments {
  std::uint16_t port = 0;
  std::optional<std::string> secret;
  int status = 200;
  double delay = 0;  ///< seconds
  bool drops = false;
  std::optional<std::string> script;
  bool isStrict = false;
  std::optional<std::string> bearer;
  bool asJSON = false;
  std::vector<std::string> tls;  ///< empty, or the files of the certificate and the key
};

void defineBackend(CLI::App& app, BackendArguments& arguments);

/// Runs the backend alone until the surroundings end it. Throws InputError for arguments that cannot be used.
void runBackend(const BackendArguments& arguments, const Surroundings& surroundings);

}  // namespace pellion
