// How the application is registered, and what it shares.
#import "framework/PellionCoreLibrary/support.h"

@interface QVSystemProperties : NSObject
@end
@implementation QVSystemProperties
PL_SHARED_INSTANCE(sharedInstance)
- (NSString *)appversionid {
  return PLCoreLibraryText(corelib_appVersionID);
}
- (NSString *)frameworkid {
  return PLCoreLibraryText(corelib_frameworkID);
}
- (NSString *)mapid {
  return PLCoreLibraryText(corelib_mapID);
}
- (NSString *)apid {
  return PLCoreLibraryText(corelib_apID);
}
- (NSString *)portalid {
  return PLCoreLibraryText(corelib_portalID);
}
- (NSString *)projectid {
  return PLCoreLibraryText(corelib_projectID);
}
+ (void)getAppVersionIDWithSuccess:(void (^)(NSString *appVersionID))success failure:(void (^)(NSError *error))failure {
  NSString *appVersionID = PLCoreLibraryText(corelib_appVersionID);
  if (appVersionID != nil) {
    success(appVersionID);
    return;
  }
  NSDictionary *info = [NSDictionary dictionaryWithObject:@"APP_VERSION_ID is not configured."
                                                   forKey:NSLocalizedDescriptionKey];
  failure([NSError errorWithDomain:@"PellionErrorDomain" code:1 userInfo:info]);
}
+ (NSDictionary *)appMeta {
  PLCoreLibraryPrepare();
  return corelib_appMeta();
}
@end

@interface QVSystemInfo : NSObject
@end
@implementation QVSystemInfo
+ (int64_t)getTimeinLong {
  return PLCoreLibraryMilliseconds();
}
@end

@interface QVFileManager : NSObject
@end
@implementation QVFileManager
PL_SHARED_INSTANCE(sharedInstance)
- (BOOL)enableGzip {
  PLCoreLibraryPrepare();
  return corelib_flag(corelib_isGzipEnabled);
}
- (NSString *)getQvInfoFilePath {
  PLCoreLibraryPrepare();
  return [[corelib_configurationFile() lastPathComponent] stringByDeletingPathExtension];
}
- (NSString *)extensionAppGroup {
  return PLCoreLibraryText(corelib_appGroup);
}
@end

/// The bundle that holds the configuration.
@interface PLBundle : NSObject
@end
@implementation PLBundle
PL_SHARED_INSTANCE(getMainBundle)
- (NSString *)pathForResource:(NSString *)name ofType:(NSString *)type {
  PLCoreLibraryPrepare();
  NSString *folder = [corelib_configurationFile() stringByDeletingLastPathComponent];
  if (folder == nil || name == nil) return nil;
  NSString *path = [[folder stringByAppendingPathComponent:name] stringByAppendingPathExtension:type];
  return [[NSFileManager defaultManager] fileExistsAtPath:path] ? path : nil;
}
@end

@interface QVKeyChainWrapper : NSObject
@end
@implementation QVKeyChainWrapper
+ (NSData *)dataForKey:(NSString *)key {
  PLCoreLibraryPrepare();
  return corelib_keychainData(key);
}
+ (void)setData:(NSData *)data forKey:(NSString *)key {
  PLCoreLibraryPrepare();
  if (!corelib_setKeychainData(key, data)) return;
  PLCoreLibraryTell(@"keychain", @"stored",
                    [NSDictionary dictionaryWithObjectsAndKeys:key, @"key", data, @"data", nil]);
}
@end
