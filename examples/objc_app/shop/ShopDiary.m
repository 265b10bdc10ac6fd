#import "ShopDiary.h"

#import <PellionCoreLibrary/PellionCoreLibrary.h>
#import <UISystemMain.h>

static const int64_t firstMoment = 1767225600000;  // 2026-01-01T00:00:00Z
static NSString *const appGroup = @"group.shop";

static void note(NSString *what, NSString *object, NSString *callback, id answer) {
  UISystemReport(@"app", what,
                 [NSDictionary dictionaryWithObjectsAndKeys:object, @"name", callback, @"callback",
                                                            answer != nil ? answer : [NSNull null], @"answer", nil]);
}

void ShopNoteCall(NSString *object, NSString *callback) { note(@"called", object, callback, nil); }
void ShopNoteAnswer(NSString *object, NSString *callback, id answer) { note(@"answered", object, callback, answer); }

@interface ShopStoreDiary : NSObject {
 @private
  NSDictionary *_known;
}
@end

@implementation ShopStoreDiary

- (id)init {
  self = [super init];
  [[NSNotificationCenter defaultCenter] addObserver:self
                                           selector:@selector(noteChanges:)
                                               name:NSUserDefaultsDidChangeNotification
                                             object:nil];
  return self;
}

- (void)noteChanges:(NSNotification *)notification {
  (void)notification;
  NSDictionary *present = [[NSUserDefaults standardUserDefaults] persistentDomainForName:appGroup];
  for (NSString *key in present) {
    id value = [present objectForKey:key];
    if ([value isEqual:[_known objectForKey:key]]) continue;
    // The extension writes lists with entries, and notes that itself; the application only empties them.
    if ([value isKindOfClass:[NSArray class]] && [value count] > 0) continue;
    UISystemReport(@"shared store", @"stored",
                   [NSDictionary dictionaryWithObjectsAndKeys:key, @"key", value, @"value", nil]);
  }
  [_known autorelease];
  _known = [present copy];
}

- (void)dealloc {
  [[NSNotificationCenter defaultCenter] removeObserver:self];
  [_known release];
  [super dealloc];
}

@end

static void noteOfCoreLibrary(NSString *actor, NSString *what, NSDictionary *details) {
  NSData *data = [details objectForKey:@"data"];
  if (data != nil) {
    details = [NSDictionary
        dictionaryWithObjectsAndKeys:[details objectForKey:@"key"], @"key", UISystemHexadecimal(data), @"data", nil];
  }
  UISystemReport(actor, what, details);
}

void ShopBeginDiary(void) {
  [PLCoreLibrary setListener:^(NSString *actor, NSString *what, NSDictionary *details) {
    noteOfCoreLibrary(actor, what, details);
  }];
  [PLCoreLibrary setClock:^int64_t {
    return firstMoment + (int64_t)(UISystemTime() * 1000);
  }];
  [ShopStoreDiary new];  // for the life of the program
}
