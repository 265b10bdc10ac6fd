#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace soak {

/// Payloads of one kind, as JSON text: what the platform decodes for each delivery.
struct PayloadKind {
  std::string name;
  std::vector<std::string> texts;
};

/// Returns the same payloads on every run: the examples and generated ones. Needs a current process.
std::vector<PayloadKind> payloadCatalogue(const std::filesystem::path& examples);

}  // namespace soak
