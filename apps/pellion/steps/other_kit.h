#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "pellion/document/application_description.h"
#include "pellion/document/scenario.h"
#include "platform/objc.h"

namespace pellion {

/// Another kit in the application. It rewires one of the two delegates in one of the ways that such kits use:
///
///   "replaces"    replaces the methods of the delegate's class by its own
///   "exchanges"   exchanges those methods with its own, which then call the originals under the kit's selectors
///   "subclasses"  makes the delegate an instance of a subclass whose methods come before those of the class
///   "reassigns"   clears the delegate and sets it again
///
/// Its methods pass on the calls that they receive; each is an event "app" "called".
extern const Shape kitShape;

/// The limit for one scenario: a method that replaces another has to be a separate function.
inline constexpr std::size_t mostKits = 8;
void checkKits(const Scenario& scenario, const JSONNode& kit);

void rewire(ScenarioPhone& phone, const JSONNode& kit);

/// The name of the kit whose code this is for the callback, among the kits of the current process.
std::optional<std::string> kitWith(Callback callback, IMP implementation);

}  // namespace pellion
