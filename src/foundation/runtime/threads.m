// Repairs: threads that Foundation did not start, on GNUstep Base. It must be told of them before they touch an object.
// Not needed on a phone.
#import "foundation/runtime/threads.h"

void foundation_registerThread(void) {
  static __thread bool isRegistered;
  if (isRegistered) return;
  isRegistered = true;
  GSRegisterCurrentThread();
}
