#import "bench/objc/dictionaries.h"

static NSString *const addInfo =
    @"{\"pellionPnID\":12,\"clickAction\":\"https://shop.example/sale?id=7\",\"conversion\":{\"event\":\"Purchase\","
     "\"group\":\"Shop\"},\"actionButton\":[{\"action\":\"open\",\"clickAction\":\"shop://open\"}]}";

static NSUInteger sizeOf(NSDictionary *payload) {
  return [[NSJSONSerialization dataWithJSONObject:payload options:0 error:NULL] length];
}

id bench_makePayload(void) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  NSDictionary *alert = [NSDictionary dictionaryWithObjectsAndKeys:@"Sale", @"title", @"Only today", @"body", nil];
  NSMutableDictionary *payload = [NSMutableDictionary new];
  [payload
      setObject:[NSDictionary dictionaryWithObjectsAndKeys:alert, @"alert", [NSNumber numberWithInt:3], @"badge", nil]
         forKey:@"aps"];
  [payload setObject:addInfo forKey:@"addInfo"];
  for (int i = 0; sizeOf(payload) < 4096 - 60; ++i) {
    NSDictionary *item =
        [NSDictionary dictionaryWithObjectsAndKeys:@"some text", @"k", [NSNumber numberWithInt:i], @"n", nil];
    [payload setObject:[NSArray arrayWithObject:item] forKey:[NSString stringWithFormat:@"custom%d", i]];
  }
  [pool drain];
  return payload;
}

id bench_deepCopy(id object) {
  if ([object isKindOfClass:[NSDictionary class]]) {
    NSMutableDictionary *copy = [[NSMutableDictionary alloc] initWithCapacity:[object count]];
    for (id key in object) {
      id keyCopy = bench_deepCopy(key);
      id value = bench_deepCopy([object objectForKey:key]);
      [copy setObject:value forKey:keyCopy];
      [value release];
      [keyCopy release];
    }
    return copy;
  }
  if ([object isKindOfClass:[NSArray class]]) {
    NSMutableArray *copy = [[NSMutableArray alloc] initWithCapacity:[object count]];
    for (id element in object) {
      id value = bench_deepCopy(element);
      [copy addObject:value];
      [value release];
    }
    return copy;
  }
  if ([object isKindOfClass:[NSString class]]) return [[NSString alloc] initWithString:object];
  return [object copy];
}

bool bench_isDeepCopy(id object, id copy) {
  if (![copy isEqual:object]) return false;
  if ([object isKindOfClass:[NSNumber class]]) return true;
  if (copy == object) return false;
  if (![object isKindOfClass:[NSDictionary class]]) return true;
  for (id key in object) {
    if (!bench_isDeepCopy([object objectForKey:key], [copy objectForKey:key])) return false;
  }
  return true;
}
