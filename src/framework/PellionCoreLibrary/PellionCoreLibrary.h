// A core library for programs that do not have the maker's own: its classes answer from a property list,
// "PellionInfo.plist", whose entries docs/configuration.md describes, and keep the keychain's items in a file. Link it
// or the maker's library, not both: the module finds the classes by their names.
#pragma once

#import <Foundation/Foundation.h>

#import <PellionMessaging/PLDefines.h>

PL_ASSUME_NONNULL_BEGIN

/// Notifications of this name carry what the user does in the application. The object is a dictionary with the
/// "action", "event" with its "name" or "session" with its "duration".
extern NSString *const PLRateUsNotification;

/**
 * Receives what the library does: "module" "log", "keychain" "stored" or "failed", "core library" "rejected response".
 * Any thread.
 */
typedef void (^PLCoreLibraryListener)(NSString *actor, NSString *what,
                                      PL_GENERIC(NSDictionary, NSString *, id) * details);

/**
 * Sets the library up. Without it the library uses "PellionInfo.plist" of the main bundle, and a folder of the
 * program's name in the account's folder for application support. It names a file that it cannot use in the system's
 * log, once; its classes then return nil. Any thread.
 *
 * CA_FILE and CLEAR_TEXT_HOSTS of the property list have no effect here: as on the platform, NSAppTransportSecurity in
 * the application's Info.plist decides.
 */
@interface PLCoreLibrary : NSObject

/**
 * Takes a configuration into use, from now on.
 *
 * @param file A property list, XML or binary.
 * @param folder Where the keychain is kept, readable by its owner alone. It is made if it is missing.
 * @param error What is wrong, with the file's name. The former configuration stays in use then.
 */
+ (BOOL)useConfigurationFile:(NSString *)file
                     storage:(NSString *)folder
                       error:(NSError *PL_BLOCK_NULLABLE *PL_BLOCK_NULLABLE)error;

/**
 * Nil: the lines of the log and the problems go to the system's log.
 */
+ (void)setListener:(PL_NULLABLE PLCoreLibraryListener)listener;

/**
 * Milliseconds since 1970, for a program that plays a day at its own speed. Nil: the system's clock.
 */
+ (void)setClock:(int64_t (^PL_BLOCK_NULLABLE)(void))milliseconds;

/**
 * Posts PLRateUsNotification, as the library does when the user has done something. Main thread.
 */
+ (void)announceEngagement:(PL_GENERIC(NSDictionary, NSString *, id) *)report;

@end

PL_ASSUME_NONNULL_END
