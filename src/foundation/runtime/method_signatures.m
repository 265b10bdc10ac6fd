// The part of encodings.cpp that is Foundation's: every signature is made by one method, which is replaced.
#import "foundation/runtime/encodings.h"

#include <objc/runtime.h>
#include <string.h>

static IMP inheritedSignature;

static id signatureWithObjCTypes(id self, SEL selector, const char *types) {
  if (types != NULL && strstr(types, "@?") != NULL) types = foundation_encodingWithoutBlocks(types);
  return ((id(*)(id, SEL, const char *))inheritedSignature)(self, selector, types);
}

void foundation_repairSignatures(void) {
  Method method = class_getClassMethod([NSMethodSignature class], @selector(signatureWithObjCTypes:));
  inheritedSignature = method_setImplementation(method, (IMP)signatureWithObjCTypes);
}
