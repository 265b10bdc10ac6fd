// The one step in which the facade reaches up to the interception, so that messaging/ never does.

#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "messaging/PLMessaging.h"

void PLMessaging::startService() {
  shared();
  PLMessagingRemoteNotificationsProxy::sharedInstance().performMethodSwizzlingIfPossible();
}
