#pragma once

#include <string>
#include <vector>

namespace host {

/// The URL schemes that something on the phone opens, and those that the application declares it queries. In lower
/// case.
struct URLSchemes {
  std::vector<std::string> own = {};        ///< the application's own: it opens them, and may query them
  std::vector<std::string> queried = {};    ///< others that the application declares it queries
  std::vector<std::string> installed = {};  ///< others that something opens, beside those of every phone
  bool operator==(const URLSchemes&) const = default;
};

}  // namespace host
