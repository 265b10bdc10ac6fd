#pragma once

#include "pellion/document/notification_shape.h"
#include "pellion/document/scenario.h"

namespace pellion {

extern const Shape responseShape;
extern const Shape sessionEndShape;
extern const Shape badgeStepShape;

// The steps for notifications; docs/scenario.md describes them.
void deliver(ScenarioPhone& phone, const JSONNode& notification);
void deliverInBackground(ScenarioPhone& phone, const JSONNode& notification);
void respond(ScenarioPhone& phone, const JSONNode& response);
void tap(ScenarioPhone& phone, const JSONNode& notification);
void dismiss(ScenarioPhone& phone, const JSONNode& notification);
void handleResponse(ScenarioPhone& phone, const JSONNode& response);
void reportGoal(ScenarioPhone& phone, const JSONNode& name);
void endSession(ScenarioPhone& phone, const JSONNode& session);
void activate(ScenarioPhone& phone, const JSONNode& nothing);
void setBadge(ScenarioPhone& phone, const JSONNode& badge);

// Throws InputError when the notification in the argument is not one of the scenario's.
void checkNotificationName(const Scenario& scenario, const JSONNode& notification);
void checkAnsweredName(const Scenario& scenario, const JSONNode& response);

}  // namespace pellion
