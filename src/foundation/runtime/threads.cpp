// Repairs: threads that Foundation did not start, on GNUstep Base. A thread must be registered there before it touches
// an object. Not needed on a phone.

#include "foundation/runtime/objects.h"

extern "C" bool GSRegisterCurrentThread();

void foundation_registerThread() {
  thread_local bool isRegistered = false;
  if (isRegistered) return;
  isRegistered = true;
  GSRegisterCurrentThread();
}
