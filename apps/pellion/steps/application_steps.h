#pragma once

#include "pellion/document/scenario.h"

namespace pellion {

// What the steps about the application and its delegates do; docs/scenario.md describes them.
void launch(ScenarioRun& run, const JSONNode& nothing);
void startService(ScenarioRun& run, const JSONNode& nothing);
void setDelegate(ScenarioRun& run, const JSONNode& name);
void setNotificationDelegate(ScenarioRun& run, const JSONNode& name);
void registerInterceptor(ScenarioRun& run, const JSONNode& name);
void unregisterInterceptor(ScenarioRun& run, const JSONNode& name);
void release(ScenarioRun& run, const JSONNode& name);

/// Throws InputError when the name, or null, is that of no delegate.
void checkDelegate(const Scenario& scenario, const JSONNode& name);

}  // namespace pellion
