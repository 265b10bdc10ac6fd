#pragma once

// The system's side of an application that UIApplicationMain runs as a process of its own. Main thread.
//
// On standard input each line is an event of the system, a JSON object:
//
//   {"event": "token", "token": "0aff"}                  a device token, in hexadecimal
//   {"event": "foreground", "payload": {…}}              a notification; "background" likewise
//   {"event": "response", "payload": {…}, "action": "…"} the user's response to a notification
//   {"event": "active"}                                  the application becomes active
//   {"event": "action", "action": "buy:", "sender": …}   an action of the user interface
//   {"event": "wait", "seconds": 3}                      nothing happens for so long
//   {"event": "end"}                                     the application ends
//
// Each may have a "time", in seconds. On standard output each line is an event that it led to, {"actor", "what",
// "details"}; the last one for an event is {"actor": "system", "what": "done"}. An exception that leaves a callback is
// "raised"; the platform would end the application.

#import <Foundation/Foundation.h>

/// The time of the last event that had one, in seconds. Any thread.
double UISystemTime(void);

/// Writes a line to standard output. Any thread.
void UISystemReport(NSString *actor, NSString *what, NSDictionary *details);

/// Bytes as lower-case hexadecimal digits.
NSString *UISystemHexadecimal(NSData *bytes);
