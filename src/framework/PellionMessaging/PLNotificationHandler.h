#pragma once

#import <PellionMessaging/PLDefines.h>

PL_ASSUME_NONNULL_BEGIN

/**
 * Opens the click action of a notification response, for applications that do so in their own notification-center
 * delegate. It counts nothing. An application that has called +[PLMessaging startService] does not need it: the service
 * opens the click action.
 *
 * It has no state and may be used on any thread. Nothing that a payload holds makes it raise.
 */
PL_FINAL
@interface PLNotificationHandler : NSObject

/**
 * The one instance. It lives as long as the process: -retain, -release and -autorelease have no effect.
 */
+ (PLNotificationHandler *)shared;

#ifdef __BLOCKS__
/**
 * Opens the click action of the response's action, later and on the main thread.
 *
 * @param response The UNNotificationResponse, or nil.
 * @param completion The handler that the delegate was given. It is called once, before this method returns.
 * @exception NSInvalidArgumentException The object is no response; the completion is not called then.
 */
- (void)handleNotificationResponse:(PL_NULLABLE id)response
                 completionHandler:(void (^PL_BLOCK_NULLABLE)(void))completion;
#endif

+ (instancetype)new PL_UNAVAILABLE("use +shared");
+ (instancetype)alloc PL_UNAVAILABLE("use +shared");
- (instancetype)init PL_UNAVAILABLE("use +shared");

@end

PL_ASSUME_NONNULL_END
