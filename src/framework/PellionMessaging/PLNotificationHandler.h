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

/**
 * The click action of the response's action, which may be empty. For a button that the payload does not describe, the
 * notification's own. Nil when there is none, and for a dismissal.
 */
- (PL_NULLABLE NSString *)resolvedClickActionFromResponse:(PL_NULLABLE id)response;

/**
 * A payload's "addInfo", given as a dictionary or as the JSON text of an object. It is not searched for: only the
 * payload's own entry counts. Nil for anything else.
 */
- (PL_NULLABLE PL_GENERIC(NSDictionary, NSString *, id) *)addInfoDictionaryFromUserInfo:
    (PL_NULLABLE PL_GENERIC(NSDictionary, NSString *, id) *)userInfo;

/**
 * The value if it is a string, otherwise nil.
 */
- (PL_NULLABLE NSString *)stringValue:(PL_NULLABLE id)value;

/**
 * Opens a URL or deep link, later and on the main thread. Text that is no URL is ignored.
 */
- (void)openClickAction:(PL_NULLABLE NSString *)clickAction;

+ (instancetype)new PL_UNAVAILABLE("use +shared");
+ (instancetype)alloc PL_UNAVAILABLE("use +shared");
- (instancetype)init PL_UNAVAILABLE("use +shared");

@end

PL_ASSUME_NONNULL_END
