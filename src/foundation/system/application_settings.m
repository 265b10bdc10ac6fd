#import "foundation/system/application_settings.h"

id foundation_infoEntry(id key) { return [[[NSBundle mainBundle] infoDictionary] objectForKey:key]; }
id foundation_processName(void) { return [[NSProcessInfo processInfo] processName]; }
void foundation_systemLog(const char *text) { NSLog(@"%@", [NSString stringWithUTF8String:text]); }
