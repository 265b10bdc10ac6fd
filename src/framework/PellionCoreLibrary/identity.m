// Who the user is to the server.
#import "framework/PellionCoreLibrary/support.h"

@interface QVPIIManager : NSObject
@end
@implementation QVPIIManager
PL_SHARED_INSTANCE(getInstance)
- (void)newRegisterDevice:(void (^)(NSString *deviceID))block {
  block(PLCoreLibraryText(corelib_deviceID));
}
- (BOOL)isAnonymousUser {
  PLCoreLibraryPrepare();
  return corelib_flag(corelib_isAnonymousUser);
}
- (NSString *)anonid {
  return PLCoreLibraryText(corelib_anonymousID);
}
@end

@interface Analytics : NSObject
@end
@implementation Analytics
PL_SHARED_INSTANCE(getInstance)
- (BOOL)enableAnonymousTracking {
  PLCoreLibraryPrepare();
  return corelib_flag(corelib_isAnonymousTrackingEnabled);
}
- (NSString *)getDCLBD {
  return PLCoreLibraryText(corelib_domain);
}
@end

/// Both identities have the same bearer token.
@interface PLAAAUtil : NSObject
@end
@implementation PLAAAUtil
PL_SHARED_INSTANCE(sharedManagerForDevice)
PL_SHARED_INSTANCE(sharedManagerForAnonymousUser)
- (void)getTokenWithSuccess:(void (^)(NSString *token))block {
  block(PLCoreLibraryText(corelib_bearerToken));
}
@end

@interface QVNetworking : NSObject
@end
@implementation QVNetworking
+ (void)processError:(id)json aaaUtil:(PLAAAUtil *)manager {
  BOOL isAnonymous = manager == [PLAAAUtil sharedManagerForAnonymousUser];
  NSDictionary *details =
      [NSDictionary dictionaryWithObjectsAndKeys:isAnonymous ? @"anonymous user" : @"device", @"identity",
                                                 json != nil ? json : [NSNull null], @"json", nil];
  PLCoreLibraryTell(@"core library", @"rejected response", details);
}
@end
