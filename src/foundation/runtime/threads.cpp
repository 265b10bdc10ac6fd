// Repairs: threads that Foundation did not start, on GNUstep Base. It must be told of them before they touch an object.
// Not needed on a phone.

#include "foundation/runtime/threads.h"

extern "C" bool GSRegisterCurrentThread();

void foundation_registerThread() {
  thread_local bool isRegistered = false;
  if (isRegistered) return;
  isRegistered = true;
  GSRegisterCurrentThread();
}
