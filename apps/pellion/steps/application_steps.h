#pragma once

#include "pellion/document/scenario.h"

namespace pellion {

// The steps for the application and its delegates; docs/scenario.md describes them.
void launch(ScenarioRun& run, const JSONNode& nothing);
void startService(ScenarioRun& run, const JSONNode& nothing);
void setDelegate(ScenarioRun& run, const JSONNode& name);
void setNotificationDelegate(ScenarioRun& run, const JSONNode& name);
void registerInterceptor(ScenarioRun& run, const JSONNode& name);
void unregisterInterceptor(ScenarioRun& run, const JSONNode& name);
void release(ScenarioRun& run, const JSONNode& name);

/// Throws InputError unless the name is that of a delegate, or null.
void checkDelegate(const Scenario& scenario, const JSONNode& name);

}  // namespace pellion
