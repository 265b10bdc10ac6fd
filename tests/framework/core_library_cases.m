// The core library, as the module uses it.
#import "tests/framework/application.h"

@protocol CoreLibrary
+ (id)getInstance;
+ (id)sharedInstance;
+ (id)sharedManager;
+ (id)getMainBundle;
+ (id)sharedManagerForDevice;
+ (id)sharedManagerForAnonymousUser;
+ (NSData *)dataForKey:(NSString *)key;
+ (void)setData:(NSData *)data forKey:(NSString *)key;
+ (int64_t)getTimeinLong;
+ (void)processError:(id)json aaaUtil:(id)manager;
+ (void)getAppVersionIDWithSuccess:(void (^)(NSString *))success failure:(void (^)(NSError *))failure;
- (NSString *)deviceID;
- (BOOL)isAnonymousUser;
- (NSString *)anonid;
- (NSString *)mapid;
- (BOOL)enableGzip;
- (NSString *)getQvInfoFilePath;
- (NSString *)extensionAppGroup;
- (NSString *)pathForResource:(NSString *)name ofType:(NSString *)type;
- (NSData *)encodeWithJWT:(NSDictionary *)payload;
- (NSData *)pl_gzippedDataWithCompressionLevel:(float)level;
@end

static Class<CoreLibrary> named(NSString *name) { return NSClassFromString(name); }

static void itAnswersFromTheConfiguration(void) {
  setUp();
  NSString *folder = newFolder();
  NSDictionary *entries =
      [NSDictionary dictionaryWithObjectsAndKeys:@"m", @"MAP_ID", @"group", @"APP_GROUP", @"anonymous", @"ANONYMOUS_ID",
                                                 [NSNumber numberWithBool:YES], @"ANONYMOUS_USER",
                                                 [NSNumber numberWithBool:YES], @"GZIP", nil];
  NSString *file = configurationFile(folder, entries);
  CHECK([PLCoreLibrary useConfigurationFile:file storage:folder error:NULL]);
  id<CoreLibrary> files = [named(@"QVFileManager") sharedInstance];
  id<CoreLibrary> user = [named(@"QVPIIManager") getInstance];
  CHECK([user isAnonymousUser] && [files enableGzip]);
  CHECK_EQUAL([user anonid], @"anonymous");
  CHECK_EQUAL([[named(@"QVSystemProperties") sharedInstance] mapid], @"m");
  CHECK_EQUAL([files extensionAppGroup], @"group");
  id<CoreLibrary> bundle = [named(@"PLBundle") getMainBundle];
  CHECK_EQUAL([bundle pathForResource:[files getQvInfoFilePath] ofType:@"plist"], file);
  CHECK([bundle pathForResource:@"Other" ofType:@"plist"] == nil);
  [named(@"QVSystemProperties")
      getAppVersionIDWithSuccess:^(NSString *appVersionID) {
        note(appVersionID);
      }
      failure:^(NSError *error) {
        note([error localizedDescription]);
      }];
  CHECK_EQUAL(takeNotes(), @"APP_VERSION_ID is not configured.");
}

static void aWrongConfigurationIsNamedAndLeavesTheFormerInUse(void) {
  setUp();
  NSString *folder = newFolder();
  NSString *file = configurationFile(folder, [NSDictionary dictionaryWithObject:@"x" forKey:@"SERVER_ULR"]);
  NSError *error = nil;
  CHECK(![PLCoreLibrary useConfigurationFile:file storage:folder error:&error]);
  CHECK_CONTAINS([error localizedDescription],
                 ([NSString stringWithFormat:@"%@: SERVER_ULR is not a known key", file]));
  CHECK(![PLCoreLibrary useConfigurationFile:@"/nowhere.plist" storage:folder error:&error]);
  CHECK_CONTAINS([error localizedDescription], @"/nowhere.plist");
  NSString *nothing = nil;
  CHECK(![PLCoreLibrary useConfigurationFile:nothing storage:folder error:&error]);
  CHECK_CONTAINS([error localizedDescription], @"no configuration file is given");
  file = configurationFile(folder, [NSDictionary dictionary]);
  CHECK(![PLCoreLibrary useConfigurationFile:file storage:nothing error:&error]);
  CHECK_CONTAINS([error localizedDescription], @"no folder for the keychain is given");
  CHECK(![PLCoreLibrary useConfigurationFile:file storage:@"/proc/nowhere" error:&error]);
  CHECK_CONTAINS([error localizedDescription], @"/proc/nowhere: the folder for the keychain cannot be used");
  CHECK_EQUAL([[named(@"QVFileManager") sharedInstance] extensionAppGroup], @"group.framework");
}

static void noteWhatTheLibraryDoes(void) {
  [PLCoreLibrary setListener:^(NSString *actor, NSString *what, NSDictionary *details) {
    (void)actor;
    note([what isEqualToString:@"log"] ? [details objectForKey:@"tag"] : what);
  }];
}

static void theKeychainKeepsItems(void) {
  setUp();
  noteWhatTheLibraryDoes();
  Class<CoreLibrary> keychain = named(@"QVKeyChainWrapper");
  CHECK([keychain dataForKey:@"a"] == nil);
  [keychain setData:[NSData dataWithBytes:"1\0" length:2] forKey:@"a"];
  CHECK_EQUAL([[keychain dataForKey:@"a"] description], [[NSData dataWithBytes:"1\0" length:2] description]);
  CHECK_EQUAL(takeNotes(), @"stored");
  id noData = @"text";
  [keychain setData:noData forKey:@"b"];
  CHECK([keychain dataForKey:@"b"] == nil);
  CHECK_EQUAL(takeNotes(), @"");
}

static void theKeychainsFolderIsMadeForItsOwnerAlone(void) {
  setUp();
  NSString *parent = newFolder();
  NSString *folder = [parent stringByAppendingPathComponent:@"library/keychain"];
  NSString *file = configurationFile(parent, [NSDictionary dictionary]);
  CHECK([PLCoreLibrary useConfigurationFile:file storage:folder error:NULL]);
  CHECK([[[NSFileManager defaultManager] fileAttributesAtPath:folder traverseLink:NO] filePosixPermissions] == 0700);
}

void QLogExtension(const char *file, int line, const char *function, NSString *marker, NSString *tag, NSString *format,
                   ...);

static void theLogHasTheLinesOfItsLevel(void) {
  static NSString *const rows[][2] = {{@"none", @""},
                                      {@"warning", @"pellion-warning, warning"},
                                      {@"info", @"pellion-log, pellion-warning, warning"},
                                      {@"verbose", @"pellion-log, pellion-warning, warning, verbose"}};
  static NSString *const tags[] = {@"pellion-log", @"pellion-warning", @"warning", @"verbose"};
  setUp();
  noteWhatTheLibraryDoes();
  for (size_t row = 0; row < sizeof rows / sizeof *rows; ++row) {
    NSString *folder = newFolder();
    NSString *file = configurationFile(folder, [NSDictionary dictionaryWithObject:rows[row][0] forKey:@"LOG_LEVEL"]);
    CHECK([PLCoreLibrary useConfigurationFile:file storage:folder error:NULL]);
    for (size_t i = 0; i < sizeof tags / sizeof *tags; ++i) QLogExtension("a.m", 1, "-[A b]", @"", tags[i], @"text");
    CHECK_EQUAL(takeNotes(), rows[row][1]);
  }
  [PLCoreLibrary setListener:nil];
  QLogExtension("a.m", 1, "-[Shop buy]", @"", @"warning", @"%d %@", 7, @"articles");
}

/// Receives the library's notification.
@interface Counter : NSObject
@end
@implementation Counter
+ (void)engaged:(NSNotification *)notification {
  note([[notification object] objectForKey:@"action"]);
}
@end

static void engagementIsAnnouncedWithItsReport(void) {
  setUp();
  [[NSNotificationCenter defaultCenter] addObserver:[Counter class]
                                           selector:@selector(engaged:)
                                               name:PLRateUsNotification
                                             object:nil];
  [PLCoreLibrary announceEngagement:[NSDictionary dictionaryWithObject:@"event" forKey:@"action"]];
  CHECK_EQUAL(takeNotes(), @"event");
}

static void bodiesAreSignedAndCompressed(void) {
  setUp();
  id<CoreLibrary> wrapper = [named(@"PLJWTWrapper") sharedManager];
  NSData *body = [wrapper encodeWithJWT:[NSDictionary dictionaryWithObject:@"b" forKey:@"a"]];
  NSString *text = [[[NSString alloc] initWithData:body encoding:NSASCIIStringEncoding] autorelease];
  CHECK_CONTAINS(text, @"eyJhbGciOiJIUzI1NiIsInR5cCI6IkpXVCJ9.eyJhIjoiYiJ9.");
  NSData *gzip = [(id<CoreLibrary>)body pl_gzippedDataWithCompressionLevel:1];
  CHECK([gzip length] > 18 && memcmp([gzip bytes], "\x1f\x8b", 2) == 0);
  CHECK_CONTAINS(raisedBy(^{
                   [wrapper encodeWithJWT:[NSDictionary dictionaryWithObject:[NSDate date] forKey:@"a"]];
                 }),
                 @"NSInvalidArgumentException");
}

static void setClock(int64_t milliseconds) {
  [PLCoreLibrary setClock:^int64_t {
    return milliseconds;
  }];
}

static void theClockAndRejectedResponsesAreTheApplications(void) {
  setUp();
  setClock(12);
  CHECK([named(@"QVSystemInfo") getTimeinLong] == 12);
  [PLCoreLibrary setClock:nil];
  CHECK([named(@"QVSystemInfo") getTimeinLong] > 1700000000000);
  [PLCoreLibrary setListener:^(NSString *actor, NSString *what, NSDictionary *details) {
    note([NSString stringWithFormat:@"%@ %@ %@", actor, what, [details objectForKey:@"identity"]]);
  }];
  Class<CoreLibrary> managers = named(@"PLAAAUtil");
  [named(@"QVNetworking") processError:nil aaaUtil:[managers sharedManagerForDevice]];
  [named(@"QVNetworking") processError:@"x" aaaUtil:[managers sharedManagerForAnonymousUser]];
  CHECK_EQUAL(takeNotes(), @"core library rejected response device, core library rejected response anonymous user");
}

const struct framework_Case framework_coreLibraryCases[] = {
    CASE(itAnswersFromTheConfiguration),
    CASE(aWrongConfigurationIsNamedAndLeavesTheFormerInUse),
    CASE(theKeychainKeepsItems),
    CASE(theKeychainsFolderIsMadeForItsOwnerAlone),
    LOGS(theLogHasTheLinesOfItsLevel, "-\\[Shop buy\\] \\[warning\\] 7 articles"),
    CASE(engagementIsAnnouncedWithItsReport),
    CASE(bodiesAreSignedAndCompressed),
    CASE(theClockAndRejectedResponsesAreTheApplications),
    END_OF_CASES};
