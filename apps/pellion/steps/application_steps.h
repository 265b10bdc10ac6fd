#pragma once

#include "pellion/document/scenario.h"

namespace pellion {

// The steps for the application and its delegates; docs/scenario.md describes them.
void launch(ScenarioPhone& phone, const JSONNode& nothing);
void terminate(ScenarioPhone& phone, const JSONNode& nothing);
void startService(ScenarioPhone& phone, const JSONNode& nothing);
void setDelegate(ScenarioPhone& phone, const JSONNode& name);
void setNotificationDelegate(ScenarioPhone& phone, const JSONNode& name);
void registerInterceptor(ScenarioPhone& phone, const JSONNode& name);
void unregisterInterceptor(ScenarioPhone& phone, const JSONNode& name);
void release(ScenarioPhone& phone, const JSONNode& name);

/// Throws InputError unless the name is that of a delegate, or null.
void checkDelegate(const Scenario& scenario, const JSONNode& name);

}  // namespace pellion
