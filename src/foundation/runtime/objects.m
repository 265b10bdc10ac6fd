// Lacking in GCC's libobjc: the functions of ownership. Here they are Foundation's methods. Not needed where the
// runtime counts references itself (libobjc2, a phone).
#import "foundation/runtime/objects.h"
#import "foundation/runtime/threads.h"

id foundation_allocate(Class cls, size_t extraBytes) { return NSAllocateObject(cls, extraBytes, NULL); }
id foundation_retain(id object) { return [object retain]; }
void foundation_release(id object) { [object release]; }
id foundation_copy(id object) { return [object copy]; }
void foundation_sendDealloc(id object) { [object dealloc]; }
size_t foundation_extraReferences(id object) { return NSExtraRefCount(object); }

id objc_retain(id object) { return [object retain]; }
void objc_release(id object) { [object release]; }
id objc_autorelease(id object) { return [object autorelease]; }
void *objc_autoreleasePoolPush(void) {
  foundation_registerThread();
  return [NSAutoreleasePool new];
}
void objc_autoreleasePoolPop(void *pool) { [(NSAutoreleasePool *)pool drain]; }
