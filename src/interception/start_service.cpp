// The only place where the facade uses the interception, so that messaging/ never includes it.

#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "messaging/PLMessaging.h"

void PLMessaging::startService() {
  shared();
  PLMessagingRemoteNotificationsProxy::sharedInstance().performMethodSwizzlingIfPossible();
}
