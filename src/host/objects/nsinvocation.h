#pragma once

#include <cstdint>
#include <span>

#include "platform/reference.h"
#include "services/call_interface.h"

namespace host {

using services::CallInterface;

/// Returns an autoreleased NSMethodSignature, or null for a null or malformed encoding.
id makeMethodSignature(const char* types);
/// Returns null for an object that is not an NSMethodSignature.
const CallInterface* interfaceOf(id methodSignature);

/// Makes the NSInvocation of a call. Like the platform's, it does not retain the arguments.
platform::Strong makeInvocation(const CallInterface& interface, std::span<const std::uint64_t> words);
std::uint64_t resultOf(id invocation);

}  // namespace host
