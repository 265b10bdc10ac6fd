#pragma once

#import <PellionCoreLibrary/PellionCoreLibrary.h>
#import <PellionMessaging/PellionMessaging.h>

#import "objc_app/uikit/UISystemEvents.h"
#import "tests/framework/cases.h"

// A small application for the cases, and the checks.

/// Sets up the core library with a complete configuration whose server no one answers for, and the platform.
void setUp(void);
/// A new folder below the temporary one.
NSString *newFolder(void);
/// Writes a property list with these entries besides a server and a secret, and returns its path.
NSString *configurationFile(NSString *folder, NSDictionary *entries);
/// Sets both delegates, each may be nil, and starts the service.
void launch(id delegate, id centerDelegate);

void note(NSString *event);
/// What was noted since the last call, joined by ", ".
NSString *takeNotes(void);
/// Runs the main run loop until something is noted, at most ten seconds.
void runUntilNoted(void);
/// Runs what is in the main queue, and what that adds.
void runQueue(void);
/// The lines of the log since the last call that contain the text.
NSUInteger countOfLines(NSString *text);
/// The name and the reason of what `work` raises; "nothing".
NSString *raisedBy(void (^work)(void));

/// A payload with this "pellionPnID".
NSDictionary *payload(int number);
/// The response to a notification that is tapped.
UNNotificationResponse *tapOn(NSDictionary *userInfo);
void deliverToken(const char *bytes);
void deliverInForeground(int number);
/// The bytes of the token, and the id, that the module saw last; "" for none.
NSString *seenToken(void);
NSString *seenNumber(void);

/// Notes "token", "background".
@interface Delegate : NSObject <UIApplicationDelegate> {
 @private
  NSString *_name;
}
- (NSString *)name;
- (void)setName:(NSString *)name;
@end

/// Notes "present", "response".
@interface CenterDelegate : NSObject <UNUserNotificationCenterDelegate> {
 @private
  NSString *_name;
}
- (NSString *)name;
- (void)setName:(NSString *)name;
@end

void checkEqual(const char *file, int line, NSString *got, NSString *wanted);
#define CHECK_EQUAL(got, wanted) checkEqual(__FILE__, __LINE__, got, wanted)
#define CHECK(condition) checkEqual(__FILE__, __LINE__, (condition) ? @"true" : @"false: " #condition, @"true")
#define CHECK_CONTAINS(text, part) \
  checkEqual(__FILE__, __LINE__, [(text) rangeOfString:part].location != NSNotFound ? part : (text), part)
