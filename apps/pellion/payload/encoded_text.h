#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace pellion {

/// A JSON object that was found inside a text which is not plain JSON text.
struct EncodedObject {
  std::string code;  ///< of the finding: "addinfo-base64"
  std::string form;  ///< completes "the text is …": "base64"
  platform::Value object;
};

/// Undoes the encodings that senders apply by mistake, one after the other: another JSON encoding, base64,
/// percent-encoding, HTML's character references. Nothing if that leads to no JSON object, or if the text is one.
std::optional<EncodedObject> objectEncodedIn(std::string_view text);

/// The text with HTML's character references resolved, as far as JSON and URLs need them.
std::string withoutCharacterReferences(std::string_view text);

}  // namespace pellion
