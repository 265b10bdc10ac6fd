#pragma once

#import <PellionMessaging/PLDefines.h>

PL_ASSUME_NONNULL_BEGIN

/**
 * The messaging service.
 *
 * The application starts it with one call, +startService. From then on the service intercepts the remote-notification
 * callbacks of the application's delegate and of the notification center's delegate, and reports deliveries, responses
 * and conversions to the analytics server. The application's own methods are called as before.
 *
 * There is one instance, +shared. +alloc raises NSInvalidArgumentException, and so does a subclass.
 *
 * The properties live as long as the process. They are not atomic and not observable by key-value observing; read them
 * on the main thread.
 */
PL_FINAL
@interface PLMessaging : NSObject

/**
 * Starts the service. Call it once, on the main thread, in -application:didFinishLaunchingWithOptions:. The application
 * must have its delegate by then. A second call does nothing.
 */
+ (void)startService;

/**
 * The one instance. The first call makes it, and it begins to observe the application's activation. It lives as long as
 * the process: -retain, -release and -autorelease have no effect.
 */
+ (PLMessaging *)shared;

/**
 * Always nil.
 */
@property(nonatomic, readonly, copy PL_PROPERTY_NULLABLE) NSString *pnToken;

/**
 * The last device token. A token that is set is registered with the server, unless it is equal to the last one. The
 * service sets it when the application's delegate receives a token.
 */
@property(nonatomic, copy PL_PROPERTY_NULLABLE) NSData *APNSToken;

/**
 * The same token. It is set by way of APNSToken.
 */
@property(nonatomic, readonly, copy PL_PROPERTY_NULLABLE) NSData *apnsToken;

/**
 * A copy of the identifiers of the notifications that the process has seen, each an NSNumber or an NSString as the
 * payload has it. A record only: a notification whose identifier is in it is counted all the same.
 */
@property(nonatomic, copy) PL_GENERIC(NSSet, id) * pellionPnID;

/**
 * The goal that counts as a conversion, "group_event" in lower case. Empty when none is pending, nil before the first
 * response.
 */
@property(nonatomic, copy PL_PROPERTY_NULLABLE) NSString *conversionEvent;

/**
 * The identifier of the last notification that was delivered or acted on, an NSNumber or an NSString as the payload has
 * it.
 */
@property(nonatomic, retain PL_PROPERTY_NULLABLE) id pnID;

/**
 * Writes the error to the log.
 */
- (void)didFailToRegisterForRemoteNotificationsWithError:(PL_NULLABLE NSError *)error;

/**
 * Records that a notification was delivered. For code that receives notifications in a way that the service does not
 * intercept.
 *
 * @param payload The notification's userInfo.
 * @exception NSInvalidArgumentException A value of the payload is of another kind than documented.
 */
- (void)updateLogMsgIds:(PL_NULLABLE PL_GENERIC(NSDictionary, NSString *, id) *)payload;

/**
 * Records that the user acted on a notification, keeps its goal and opens its click action.
 *
 * @param payload The notification's userInfo.
 * @param response The UNNotificationResponse.
 * @exception NSInvalidArgumentException A value of the payload is of another kind than documented, or the action is
 *     that of no button of the payload.
 */
- (void)appDidReceiveMessage:(PL_NULLABLE PL_GENERIC(NSDictionary, NSString *, id) *)payload
                withResponse:(PL_NULLABLE id)response;

/**
 * The first value of a key, searched depth-first. Arrays directly inside arrays are not searched. Nil for a nil key.
 *
 * @exception NSInvalidArgumentException The key is no string, or the dictionary holds one that is none.
 */
- (PL_NULLABLE id)findValueForKey:(PL_NULLABLE NSString *)key
                     inDictionary:(PL_NULLABLE PL_GENERIC(NSDictionary, NSString *, id) *)dictionary;

/**
 * The first button whose "action" is the identifier.
 */
- (PL_NULLABLE PL_GENERIC(NSDictionary, NSString *, id) *)getActionButtonById:(PL_NULLABLE NSString *)identifier
                                                                      inArray:(PL_NULLABLE PL_GENERIC(NSArray,
                                                                                                      id) *)buttons;

/**
 * The object or array of a JSON text; nil, and a line in the log, for any other text.
 *
 * @exception NSInvalidArgumentException The text is nil or no string.
 */
- (PL_NULLABLE id)parseBodyString:(NSString *)body;

/**
 * Stores the badge number where the notification extension finds it.
 */
- (void)updateBadgeCount:(NSInteger)count;

/**
 * The stored badge number, 0 when there is none.
 */
- (NSInteger)getBadgeCount;

+ (instancetype)new PL_UNAVAILABLE("use +shared");
+ (instancetype)alloc PL_UNAVAILABLE("use +shared");
- (instancetype)init PL_UNAVAILABLE("use +shared");

@end

PL_ASSUME_NONNULL_END
