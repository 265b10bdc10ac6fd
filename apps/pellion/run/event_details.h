#pragma once

#include <optional>
#include <string>

#include "host/phone/observed_event.h"
#include "pellion/backend/received_request.h"

namespace pellion {

/// A request as the phone has sent it, from the network's event "sends".
ReceivedRequest sentRequest(const platform::Value& details, std::size_t number,
                            const std::optional<std::string>& secret);

/// The details of an event of the phone for a timeline, a trace or an expectation: words in place of numbers, text in
/// place of bytes, credentials masked.
platform::Value readableDetails(const host::Event& event);

}  // namespace pellion
