#pragma once

#include "pellion/document/notification_shape.h"
#include "pellion/document/scenario.h"

namespace pellion {

extern const Shape responseShape;
extern const Shape sessionEndShape;
extern const Shape badgeStepShape;

// The steps for notifications; docs/scenario.md describes them.
void deliver(ScenarioRun& run, const JSONNode& notification);
void deliverInBackground(ScenarioRun& run, const JSONNode& notification);
void respond(ScenarioRun& run, const JSONNode& response);
void tap(ScenarioRun& run, const JSONNode& notification);
void dismiss(ScenarioRun& run, const JSONNode& notification);
void handleResponse(ScenarioRun& run, const JSONNode& response);
void reportGoal(ScenarioRun& run, const JSONNode& name);
void endSession(ScenarioRun& run, const JSONNode& session);
void activate(ScenarioRun& run, const JSONNode& nothing);
void setBadge(ScenarioRun& run, const JSONNode& badge);

// Throws InputError when the notification in the argument is not one of the scenario's.
void checkNotificationName(const Scenario& scenario, const JSONNode& notification);
void checkAnsweredName(const Scenario& scenario, const JSONNode& response);

}  // namespace pellion
