#pragma once

#include <span>
#include <string>
#include <vector>

#include "pellion/backend/received_request.h"
#include "pellion/document/shape.h"
#include "pellion/run/mismatch.h"

namespace pellion {

/// What a wanted request may look like in a scenario. What it does not name may be anything.
extern const Shape requestShape;

/// As many requests as `wanted` has elements, each as the element in its place says.
void expectRequests(const JSONNode& wanted, const std::vector<ReceivedRequest>& found, Mismatches& mismatches);

/// The same, but each request may be any of the elements.
void expectRequestsInAnyOrder(const JSONNode& wanted, const std::vector<ReceivedRequest>& found,
                              Mismatches& mismatches);

/// A list of JSON values, element by element: an object may have more entries than wanted. Places are "what 1" and on.
void expectElements(const std::string& what, std::span<const platform::Value> wanted,
                    std::span<const platform::Value> found, Mismatches& mismatches);

}  // namespace pellion
