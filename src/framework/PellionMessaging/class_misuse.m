#import "framework/PellionMessaging/class_misuse.h"

void PLRefuseInstance(Class cls, SEL selector, NSString *remedy) {
  [NSException raise:NSInvalidArgumentException
              format:@"+[%@ %@]: the application makes no instances of this class; %@", NSStringFromClass(cls),
                     NSStringFromSelector(selector), remedy];
  abort();  // -raise does not return
}

void PLRefuseSubclass(Class cls, Class restricted, SEL selector) {
  if (cls == restricted) return;
  [NSException raise:NSInvalidArgumentException
              format:@"+[%@ %@]: %@ cannot be subclassed; send the message to %@ itself", NSStringFromClass(cls),
                     NSStringFromSelector(selector), NSStringFromClass(restricted), NSStringFromClass(restricted)];
}
