#pragma once

#include <string_view>
#include <vector>

#include "pellion/scenario.h"

namespace pellion {

/// Each entry by itself, so that the error is at its place. Throws InputError.
void checkConfiguration(std::string_view file, const JSONNode& node);

/// Throws InputError where all that the scenario configures would no longer fit a property list.
void checkConfigurationSize(const Scenario& scenario);

/// The configuration and what the steps change of it.
std::vector<const JSONNode*> configurationsOf(const Scenario& scenario);

}  // namespace pellion
