// What the body of a request is made with.
#import "framework/PellionCoreLibrary/support.h"

@interface PLJWTWrapper : NSObject
@end
@implementation PLJWTWrapper
PL_SHARED_INSTANCE(sharedManager)
- (NSData *)encodeWithJWT:(NSDictionary *)payload {
  PLCoreLibraryPrepare();
  return corelib_signedPayload(payload);
}
- (NSData *)encodeDataWithJWT:(NSData *)data {
  PLCoreLibraryPrepare();
  return corelib_signedData(data);
}
@end

@interface NSData (PLGzip)
- (NSData *)pl_gzippedDataWithCompressionLevel:(float)level;
@end
@implementation NSData (PLGzip)
- (NSData *)pl_gzippedDataWithCompressionLevel:(float)level {
  return corelib_gzip(self, level);
}
@end
