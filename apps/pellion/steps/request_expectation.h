#pragma once

#include <span>
#include <string>
#include <vector>

#include "pellion/backend/received_request.h"
#include "pellion/document/shape.h"
#include "pellion/run/mismatch.h"

namespace pellion {

/// The form of an expected request in a scenario. Parts that it does not name may have any value.
extern const Shape requestShape;

/// Expects as many requests as `wanted` has elements, each matching the element at its position.
void expectRequests(const JSONNode& wanted, const std::vector<ReceivedRequest>& found, Mismatches& mismatches);

/// The same, but each request may match any of the elements.
void expectRequestsInAnyOrder(const JSONNode& wanted, const std::vector<ReceivedRequest>& found,
                              Mismatches& mismatches);

/// Compares lists of JSON values by element; objects may have more entries than wanted. Places are "what 1" and so on.
void expectElements(const std::string& what, std::span<const platform::Value> wanted,
                    std::span<const platform::Value> found, Mismatches& mismatches);

}  // namespace pellion
