#pragma once

#import <PellionMessaging/PLDefines.h>

PL_ASSUME_NONNULL_BEGIN

/**
 * Notifies interceptors of the application delegate's remote-notification callbacks:
 *
 *   -application:didRegisterForRemoteNotificationsWithDeviceToken:
 *   -application:didFailToRegisterForRemoteNotificationsWithError:
 *   -application:didReceiveRemoteNotification:fetchCompletionHandler:
 *
 * Every interceptor is called before the application's own method, in no particular order. The callbacks reach
 * interceptors once +[PLMessaging startService] was called.
 *
 * There are class methods only; +alloc and +new raise NSInvalidArgumentException. Main thread.
 */
PL_FINAL
@interface PLAppDelegateSwizzler : NSProxy

/**
 * Registers an object that declares the protocol UIApplicationDelegate. It receives the callbacks that it implements
 * for as long as it lives. It is not retained.
 *
 * An interceptor that receives a background notification must call its completion handler once.
 *
 * @return The interceptor's identifier, the same for the same object. Nil, and a line in the log, for nil and for an
 *     object that does not declare the protocol.
 */
+ (PL_NULLABLE NSString *)registerAppDelegateInterceptor:(PL_NULLABLE id)interceptor;

/**
 * Ends the registration of an interceptor. An identifier that is not registered is a line in the log.
 */
+ (void)unregisterAppDelegateInterceptorWithIdentifier:(PL_NULLABLE NSString *)identifier;

/**
 * Always YES.
 */
+ (BOOL)isAppDelegateProxyEnabled;

+ (id)new PL_UNAVAILABLE("use the class methods");
+ (id)alloc PL_UNAVAILABLE("use the class methods");

@end

PL_ASSUME_NONNULL_END
