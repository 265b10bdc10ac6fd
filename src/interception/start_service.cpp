// The only place where the facade uses the interception, so that messaging/ never includes it.

#include "appdelegate/PLAppDelegateSwizzler.h"
#include "appdelegate/PLXAppDelegateObserver.h"
#include "appdelegate/PLXSafeWeakContainer.h"
#include "appdelegate/implementation_map.h"
#include "interception/PLMessagingRemoteNotificationsProxy.h"
#include "interception/badge_hooks.h"
#include "messaging/PLMessaging.h"

namespace {

// Registers all classes of the module now, so that a class of the application with the name of one ends the program
// here and not in the first callback that needs it. The facade registers those of messaging/ and network/.
void registerClasses() {
  platform::classOf<PLAppDelegateSwizzler>();
  platform::classOf<PLXAppDelegateObserver>();
  platform::classOf<PLXSafeWeakContainer>();
  platform::classOf<ImplementationMap>();
  platform::classOf<PLMessagingRemoteNotificationsProxy>();
  platform::classOf<PLUserNotificationCenter>();
  platform::classOf<PLUserNotificationCenterDelegate>();
}

}  // namespace

void PLMessaging::startService() {
  shared();
  registerClasses();
  PLMessagingRemoteNotificationsProxy::sharedInstance().performMethodSwizzlingIfPossible();
}
