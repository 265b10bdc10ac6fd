// Remote notifications for an application that uses the Pellion analytics kit:
//
//   #import <PellionMessaging/PellionMessaging.h>
//   ...
//   - (BOOL)application:(UIApplication *)application didFinishLaunchingWithOptions:(NSDictionary *)options {
//     [PLMessaging startService];
//     [application registerForRemoteNotifications];
//     return YES;
//   }
#pragma once

#import <PellionMessaging/PLAppDelegateSwizzler.h>
#import <PellionMessaging/PLDefines.h>
#import <PellionMessaging/PLMessaging.h>
#import <PellionMessaging/PLNotificationHandler.h>
