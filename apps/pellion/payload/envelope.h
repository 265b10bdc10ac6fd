#pragma once

#include <optional>
#include <string>

#include "pellion/text/json_path.h"
#include "pellion/text/json_reader.h"

namespace pellion {

/// What carries a payload on its way: the request to a push provider.
struct Envelope {
  JSONNode payload;
  JSONPath path = {};   ///< of the payload in the document; empty if the provider composes it
  bool isText = false;  ///< the payload is JSON text there, so that positions in it are not those of the document
  std::string text;     ///< that says so
};

/// The request that a document is, unless it is a payload itself.
std::optional<Envelope> findEnvelope(const JSONNode& document);

/// The entry of a simulator's file that names the application; no push service sees it.
inline constexpr std::string_view simulatorTarget = "Simulator Target Bundle";

}  // namespace pellion
