#include <algorithm>

#include "fuzz/target.h"
#include "network/PLTokenManager.h"
#include "pellion/document/shape.h"
#include "value/ascii.h"
#include "value/hexadecimal.h"

// Converts a scenario's hexadecimal text to bytes, and bytes to the texts of the module and of the host.

namespace fuzz {

using platform::Value;

void run(std::string_view input) {
  const bool isHexadecimal = input.size() % 2 == 0 && std::ranges::all_of(input, [](char c) {
                               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
                             });
  try {
    pellion::checkShape("scenario", {{}, input, {}, {}}, pellion::shapes::hex, "the text");
    require(isHexadecimal, "text that is not hexadecimal is rejected");
    const Value bytes = pellion::bytesOfHex(input);
    require(value::hexText(bytes.bytes()) == value::asciiLowercase(input),
            "the bytes of a text convert back to the text");
  } catch (const pellion::InputError& error) {
    require(!isHexadecimal, "hexadecimal text is accepted", error.what());
    requireOneLineAbout("scenario:1:1", error.what());
  }

  const std::string text = value::hexText(bytesOf(input));
  require(pellion::bytesOfHex(text) == Value::bytes(input), "the text of bytes converts back to the bytes", text);
  const Value token = Value::bytes(input);
  require(PLTokenManager().stringFromDeviceToken(&token) == text, "the module and the host write the same text", text);
}

}  // namespace fuzz
