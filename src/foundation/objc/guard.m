#import "foundation/objc/guard.h"

#include <objc/message.h>

#ifdef __aarch64__
#define WORD_PARAMETERS uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, uintptr_t f
#define WORD_TYPES uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t
#define WORDS a, b, c, d, e, f
#else
#define WORD_PARAMETERS uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d
#define WORD_TYPES uintptr_t, uintptr_t, uintptr_t, uintptr_t
#define WORDS a, b, c, d
#endif

/// The method's code, or code that forwards the message: on a phone, class_getMethodImplementation of the object's
/// class.
static IMP codeFor(id self, SEL selector) { return objc_msg_lookup(self, selector); }

// The exception is thrown behind the @try: inside, @catch would skip it and @finally would not run.
uintptr_t foundation_guardedWords(id self, SEL selector, WORD_PARAMETERS) {
  uintptr_t result = 0;
  id raised = nil;
  @try {
    IMP code = codeFor(self, selector);
    result = ((uintptr_t(*)(id, SEL, WORD_TYPES))code)(self, selector, WORDS);
  } @catch (id exception) {
    raised = [exception retain];
  }
  if (raised != nil) foundation_throwInCxx(raised);
  return result;
}

void foundation_guardedCall(ffi_cif *signature, void *result, void **arguments) {
  id raised = nil;
  @try {
    IMP code = codeFor(*(id *)arguments[0], *(SEL *)arguments[1]);
    ffi_call(signature, (void (*)(void))code, result, arguments);
  } @catch (id exception) {
    raised = [exception retain];
  }
  if (raised != nil) foundation_throwInCxx(raised);
}

void foundation_guardedWork(void (*work)(void *context), void *context) {
  id raised = nil;
  @try {
    work(context);
  } @catch (id exception) {
    raised = [exception retain];
  }
  if (raised != nil) foundation_throwInCxx(raised);
}

id foundation_exceptionName(id raised) {
  return [raised isKindOfClass:[NSException class]] ? [raised name] : NSStringFromClass([raised class]);
}
id foundation_exceptionReason(id raised) {
  return [raised isKindOfClass:[NSException class]] ? [raised reason] : [raised description];
}
void foundation_raise(id name, id reason) { [[NSException exceptionWithName:name reason:reason userInfo:nil] raise]; }
void foundation_raiseForMemory(void) {
  foundation_raise(NSMallocException, @"PellionMessaging: there is no memory left");
}
void foundation_raiseAgain(id raised) { @throw raised; }
