#import "foundation/system/url_object.h"

// The length of the scheme in front of the first colon; 0 when what stands there is none.
static NSUInteger schemeLength(NSString *text) {
  NSUInteger colon = [text rangeOfString:@":"].location;
  if (colon == NSNotFound) return 0;
  for (NSUInteger i = 0; i < colon; ++i) {
    unichar c = [text characterAtIndex:i];
    bool isLetter = (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
    bool isOther = (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    if (!isLetter && !(isOther && i > 0)) return 0;
  }
  return colon;
}

// GNUstep's NSURL shows an upper-case scheme capitalised.
static NSString *textWithLowercaseScheme(NSString *text) {
  NSUInteger length = schemeLength(text);
  return [[[text substringToIndex:length] lowercaseString] stringByAppendingString:[text substringFromIndex:length]];
}

// GNUstep's NSURL refuses a query or fragment directly behind the host.
static NSString *textWithSlashAfterHost(NSString *text) {
  NSUInteger length = schemeLength(text);
  NSString *rest = [text substringFromIndex:length];
  if (length == 0 || ![rest hasPrefix:@"://"]) return nil;
  NSCharacterSet *ends = [NSCharacterSet characterSetWithCharactersInString:@"/?#"];
  NSUInteger end = [rest rangeOfCharacterFromSet:ends options:0 range:NSMakeRange(3, [rest length] - 3)].location;
  if (end == NSNotFound || [rest characterAtIndex:end] == '/') return nil;
  NSUInteger hostEnd = length + end;
  return [NSString stringWithFormat:@"%@/%@", [text substringToIndex:hostEnd], [text substringFromIndex:hostEnd]];
}

id foundation_makeURL(id original) {
  NSString *text = textWithLowercaseScheme(original);
  NSURL *url = [NSURL URLWithString:text];
  if (url == nil) {
    NSString *repaired = textWithSlashAfterHost(text);
    if (repaired != nil) url = [NSURL URLWithString:repaired];
  }
  if (url == nil) NSLog(@"PellionMessaging: Foundation makes no URL of %@, so it is not opened", original);
  return url;
}
