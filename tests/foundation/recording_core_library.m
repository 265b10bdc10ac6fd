// A core library for the tests: it answers from a table, logs into a list, and signs nothing.
#import "tests/foundation/shop.h"

static NSMutableArray *logLines;
static NSMutableDictionary *keychain;
static NSString *serverFile;

static void addLine(NSString *tag, NSString *format, va_list arguments) {
  NSString *text = [[[NSString alloc] initWithFormat:format arguments:arguments] autorelease];
  @synchronized(logLines) {
    [logLines addObject:[NSString stringWithFormat:@"[%@] %@", tag, text]];
  }
}

void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                           NSString *format, ...);
void QLogExtension(const char *file, int line, const char *function, NSString *marker, NSString *tag, NSString *format,
                   ...);

void QLogExtensionInternal(const char *file, int line, const char *function, NSString *marker, NSString *tag,
                           NSString *format, ...) {
  (void)file, (void)line, (void)function, (void)marker;
  va_list arguments;
  va_start(arguments, format);
  addLine(tag, format, arguments);
  va_end(arguments);
}
void QLogExtension(const char *file, int line, const char *function, NSString *marker, NSString *tag, NSString *format,
                   ...) {
  (void)file, (void)line, (void)function, (void)marker;
  va_list arguments;
  va_start(arguments, format);
  addLine(tag, format, arguments);
  va_end(arguments);
}

id shop_takeLog(void) {
  @synchronized(logLines) {
    NSArray *lines = [NSArray arrayWithArray:logLines];
    [logLines removeAllObjects];
    return lines;
  }
}

void shop_configure(const char *propertyList) {
  logLines = [NSMutableArray new];
  keychain = [NSMutableDictionary new];
  serverFile = [[NSString alloc] initWithUTF8String:propertyList];
}

#define SHARED(selector)     \
  +(id)selector {            \
    static id shared;        \
    @synchronized(self) {    \
      if (shared == nil) {   \
        shared = [self new]; \
      }                      \
    }                        \
    return shared;           \
  }

@interface QVPIIManager : NSObject
@end
@implementation QVPIIManager
SHARED(getInstance)
- (void)newRegisterDevice:(void (^)(NSString *))block {
  block(@"device-1");
}
- (BOOL)isAnonymousUser {
  return NO;
}
- (NSString *)anonid {
  return nil;
}
@end

@interface Analytics : NSObject
@end
@implementation Analytics
SHARED(getInstance)
- (BOOL)enableAnonymousTracking {
  return NO;
}
- (NSString *)getDCLBD {
  return @"example.test";
}
@end

@interface PLAAAUtil : NSObject
@end
@implementation PLAAAUtil
SHARED(sharedManagerForDevice)
+ (id)sharedManagerForAnonymousUser {
  return [self sharedManagerForDevice];
}
- (void)getTokenWithSuccess:(void (^)(NSString *))block {
  block(@"bearer-1");
}
@end

@interface QVSystemProperties : NSObject
@end
@implementation QVSystemProperties
SHARED(sharedInstance)
- (NSString *)appversionid {
  return @"v1";
}
- (NSString *)frameworkid {
  return @"f1";
}
- (NSString *)mapid {
  return @"m1";
}
- (NSString *)apid {
  return nil;
}
- (NSString *)portalid {
  return @"portal";
}
- (NSString *)projectid {
  return @"project";
}
+ (void)getAppVersionIDWithSuccess:(void (^)(NSString *))success failure:(void (^)(NSError *))failure {
  (void)failure;
  success(@"v1");
}
+ (NSDictionary *)appMeta {
  return [NSDictionary dictionaryWithObject:@"shop" forKey:@"app"];
}
@end

@interface QVFileManager : NSObject
@end
@implementation QVFileManager
SHARED(sharedInstance)
- (BOOL)enableGzip {
  return NO;
}
- (NSString *)getQvInfoFilePath {
  return @"PellionInfo";
}
- (NSString *)extensionAppGroup {
  return [NSString stringWithFormat:@"group.shop.%d", [[NSProcessInfo processInfo] processIdentifier]];
}
@end

@interface PLBundle : NSObject
@end
@implementation PLBundle
SHARED(getMainBundle)
- (NSString *)pathForResource:(NSString *)name ofType:(NSString *)type {
  return [name isEqualToString:@"PellionInfo"] && [type isEqualToString:@"plist"] ? serverFile : nil;
}
@end

@interface PLJWTWrapper : NSObject
@end
@implementation PLJWTWrapper
SHARED(sharedManager)
- (NSData *)encodeWithJWT:(NSDictionary *)payload {
  return [NSJSONSerialization dataWithJSONObject:payload options:0 error:NULL];
}
- (NSData *)encodeDataWithJWT:(NSData *)data {
  return data;
}
@end

@interface QVKeyChainWrapper : NSObject
@end
@implementation QVKeyChainWrapper
+ (NSData *)dataForKey:(NSString *)key {
  @synchronized(keychain) {
    return [[[keychain objectForKey:key] retain] autorelease];
  }
}
+ (void)setData:(NSData *)data forKey:(NSString *)key {
  @synchronized(keychain) {
    [keychain setObject:data forKey:key];
  }
}
@end

// QVSystemInfo and QVNetworking are missing.
