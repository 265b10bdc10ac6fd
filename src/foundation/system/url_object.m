#import "foundation/system/url_object.h"

// GNUstep's NSURL refuses a query directly behind the host, and shows an upper-case scheme capitalised.
static NSString *readableText(NSString *text) {
  NSRange scheme = [text rangeOfString:@":"];
  if (scheme.location != NSNotFound) {
    NSString *lower = [[text substringToIndex:scheme.location] lowercaseString];
    text = [lower stringByAppendingString:[text substringFromIndex:scheme.location]];
  }
  NSRange host = [text rangeOfString:@"://"];
  if (host.location == NSNotFound) return text;
  NSUInteger begin = NSMaxRange(host);
  NSCharacterSet *ends = [NSCharacterSet characterSetWithCharactersInString:@"/?#"];
  NSRange end = [text rangeOfCharacterFromSet:ends options:0 range:NSMakeRange(begin, [text length] - begin)];
  if (end.location == NSNotFound || [text characterAtIndex:end.location] == '/') return text;
  return [NSString
      stringWithFormat:@"%@/%@", [text substringToIndex:end.location], [text substringFromIndex:end.location]];
}

id foundation_makeURL(id text) {
  NSURL *url = [NSURL URLWithString:readableText(text)];
  if (url == nil) NSLog(@"PellionMessaging: Foundation makes no URL of %@, so it is not opened", text);
  return url;
}
