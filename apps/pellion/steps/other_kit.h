#pragma once

#include <cstddef>
#include <string>

#include "pellion/document/scenario.h"

namespace pellion {

/// Another kit in the application, which rewires one of the two delegates in one of the ways that such kits have:
///
///   "replaces"    the methods that the delegate's class has, by its own
///   "exchanges"   those methods with its own, which it then calls under selectors of its own to go on
///   "subclasses"  the delegate, with its own methods before those of the class
///   "reassigns"   the delegate: clears it and sets it again
///
/// Its methods pass on what they hear; each is an event "app" "called".
extern const Shape kitShape;

/// So many can rewire in one scenario: a method that replaces another has to be a function of its own.
inline constexpr std::size_t mostKits = 8;
void checkKits(const Scenario& scenario, const JSONNode& kit);

void rewire(ScenarioRun& run, const JSONNode& kit);

}  // namespace pellion
