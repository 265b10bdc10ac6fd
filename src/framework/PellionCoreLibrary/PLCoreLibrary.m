#import "framework/PellionCoreLibrary/support.h"

NSString *const PLRateUsNotification = @"PLRateUsNotification";

static NSString *const resourceName = @"PellionInfo";
static PLCoreLibraryListener currentListener;
static int64_t (^currentClock)(void);

@implementation PLCoreLibrary

+ (BOOL)useConfigurationFile:(NSString *)file storage:(NSString *)folder error:(NSError **)error {
  NSString *problem = corelib_use(file, folder);
  if (problem != nil && error != NULL) {
    NSDictionary *info = [NSDictionary dictionaryWithObject:problem forKey:NSLocalizedDescriptionKey];
    *error = [NSError errorWithDomain:@"PellionErrorDomain" code:2 userInfo:info];
  }
  return problem == nil;
}

+ (void)setListener:(PLCoreLibraryListener)listener {
  @synchronized(self) {
    [currentListener autorelease];
    currentListener = [listener copy];
  }
}

+ (void)setClock:(int64_t (^)(void))milliseconds {
  @synchronized(self) {
    [currentClock autorelease];
    currentClock = [milliseconds copy];
  }
}

+ (void)announceEngagement:(NSDictionary *)report {
  [[NSNotificationCenter defaultCenter] postNotificationName:PLRateUsNotification object:report];
}

@end

static void useMainBundle(void) {
  NSString *file = [[NSBundle mainBundle] pathForResource:resourceName ofType:@"plist"];
  if (file == nil) {
    NSLog(
        @"PellionCoreLibrary: the application's bundle, %@, has no %@.plist, so the library's classes return nil; add "
        @"it, or call +[PLCoreLibrary useConfigurationFile:storage:error:]",
        [[NSBundle mainBundle] bundlePath], resourceName);
    return;
  }
  NSArray *folders = NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES);
  NSString *parent = [folders count] > 0 ? [folders objectAtIndex:0] : NSTemporaryDirectory();
  NSError *error = nil;
  if (![PLCoreLibrary
          useConfigurationFile:file
                       storage:[parent stringByAppendingPathComponent:[[NSProcessInfo processInfo] processName]]
                         error:&error]) {
    NSLog(@"PellionCoreLibrary: %@", [error localizedDescription]);
  }
}

void PLCoreLibraryPrepare(void) {
  static BOOL isPrepared;
  @synchronized([PLCoreLibrary class]) {
    if (!isPrepared && corelib_configurationFile() == nil) useMainBundle();
    isPrepared = YES;
  }
}

void PLCoreLibraryTell(NSString *actor, NSString *what, NSDictionary *details) {
  PLCoreLibraryListener listener;
  @synchronized([PLCoreLibrary class]) {
    listener = [[currentListener retain] autorelease];
  }
  if (listener != nil) {
    listener(actor, what, details);
  } else if ([what isEqualToString:@"log"]) {
    NSLog(@"%@ [%@] %@", [details objectForKey:@"function"], [details objectForKey:@"tag"],
          [details objectForKey:@"text"]);
  } else if (![what isEqualToString:@"stored"]) {
    NSLog(@"PellionCoreLibrary: %@ %@: %@", actor, what, details);
  }
}

int64_t PLCoreLibraryMilliseconds(void) {
  int64_t (^clock)(void);
  @synchronized([PLCoreLibrary class]) {
    clock = [[currentClock retain] autorelease];
  }
  return clock != nil ? clock() : (int64_t)([[NSDate date] timeIntervalSince1970] * 1000);
}

NSString *PLCoreLibraryText(enum corelib_Text text) {
  PLCoreLibraryPrepare();
  return corelib_text(text);
}

void corelib_keychainFailed(id problem) {
  PLCoreLibraryTell(@"keychain", @"failed", [NSDictionary dictionaryWithObject:problem forKey:@"problem"]);
}
