#import "foundation/objc/boxes.h"

#include <objc/runtime.h>

@interface PLContainerInItself : NSObject
@end
@implementation PLContainerInItself
- (NSString *)description {
  return @"(a container inside itself)";
}
@end

static enum foundation_Kind kindOfNumber(id number) {
  // There is one object for each boolean; a number that holds a character is none.
  if (number == [NSNumber numberWithBool:YES] || number == [NSNumber numberWithBool:NO]) return foundation_boolean;
  switch (*[number objCType]) {
    case 'B': return foundation_boolean;
    case 'f':
    case 'd': return foundation_floating;
    case 'L':
    case 'Q': return [number unsignedLongLongValue] > INT64_MAX ? foundation_unsigned : foundation_integer;
    default: return foundation_integer;
  }
}

static enum foundation_Kind kindOfClass(id object) {
  if (object == [NSNull null]) return foundation_null;
  if ([object isKindOfClass:[NSString class]]) return foundation_string;
  if ([object isKindOfClass:[NSNumber class]]) return foundation_integer;
  if ([object isKindOfClass:[NSDictionary class]]) return foundation_dictionary;
  if ([object isKindOfClass:[NSArray class]]) return foundation_array;
  if ([object isKindOfClass:[NSData class]]) return foundation_data;
  return foundation_other;
}

/// Proxies answer for another object, which may change.
static bool isProxyClass(Class cls) {
  while (class_getSuperclass(cls) != Nil) cls = class_getSuperclass(cls);
  return cls != [NSObject class];
}

// A payload has many objects of few classes, so a thread remembers their kinds.
enum foundation_Kind foundation_kindOf(id object) {
  static __thread struct {
    Class cls;
    enum foundation_Kind kind;
  } known[32];
  Class cls = object_getClass(object);
  size_t place = ((uintptr_t)cls >> 4) % (sizeof known / sizeof *known);
  enum foundation_Kind kind = known[place].kind;
  if (known[place].cls != cls) {
    kind = kindOfClass(object);
    if (kind != foundation_other && !isProxyClass(cls)) {
      known[place].cls = cls;
      known[place].kind = kind;
    }
  }
  return kind == foundation_integer ? kindOfNumber(object) : kind;
}

int64_t foundation_integerOf(id number) { return [number longLongValue]; }
double foundation_floatingOf(id number) { return [number doubleValue]; }

size_t foundation_unitCountOf(id string) { return [string length]; }
void foundation_unitsOf(id string, uint16_t *units, size_t count) {
  [string getCharacters:units range:NSMakeRange(0, count)];
}

const void *foundation_bytesOf(id data, size_t *length) {
  *length = [data length];
  return [data bytes];
}
size_t foundation_countOf(id container) { return [container count]; }

size_t foundation_elementsOf(id array, id *elements, size_t room) {
  size_t count = 0;
  for (id element in array) {
    if (count < room) elements[count++] = element;
  }
  return count;
}
size_t foundation_entriesOf(id dictionary, id *keys, id *values, size_t room) {
  size_t count = 0;
  for (id key in dictionary) {
    if (count == room) break;
    keys[count] = key;
    values[count++] = [dictionary objectForKey:key];
  }
  return count;
}

static bool mayHaveKey(id container, enum foundation_Kind kind, NSString *wanted, int *left) {
  if (kind != foundation_dictionary && kind != foundation_array) return false;
  if (--*left < 0) return true;
  for (id each in container) {
    id value = each;
    if (kind == foundation_dictionary) {
      if (foundation_kindOf(each) != foundation_string || [each isEqualToString:wanted]) return true;
      value = [container objectForKey:each];
    }
    if (mayHaveKey(value, foundation_kindOf(value), wanted, left)) return true;
  }
  return false;
}
bool foundation_mayHaveKey(id dictionary, id key) {
  int left = 32;
  return mayHaveKey(dictionary, foundation_dictionary, key, &left);
}

id foundation_makeNull(void) { return [[NSNull null] retain]; }
id foundation_makeBoolean(bool value) { return [[NSNumber numberWithBool:value ? YES : NO] retain]; }
id foundation_makeInteger(int64_t value) { return [[NSNumber alloc] initWithLongLong:value]; }
id foundation_makeUnsigned(uint64_t value) { return [[NSNumber alloc] initWithUnsignedLongLong:value]; }
id foundation_makeFloating(double value) { return [[NSNumber alloc] initWithDouble:value]; }
// GNUstep takes U+FEFF at the beginning for a byte order mark and drops it, so it is put back.
id foundation_makeString(const char *text, size_t length) {
  static const char mark[] = "\xEF\xBB\xBF";
  const size_t size = sizeof mark - 1;
  NSUInteger marks = 0;
  for (; length >= size && memcmp(text, mark, size) == 0; text += size, length -= size) ++marks;
  NSString *string = [[NSString alloc] initWithBytes:text length:length encoding:NSUTF8StringEncoding];
  if (marks == 0 || string == nil) return string;
  NSMutableString *marked = [NSMutableString new];
  for (; marks > 0; --marks) [marked appendFormat:@"%C", (unichar)0xFEFF];  // initWithCharacters: drops it as well
  [marked appendString:string];
  [string release];
  return marked;
}
id foundation_makeContainerInItself(void) { return [PLContainerInItself new]; }
id foundation_makeData(const void *bytes, size_t length) { return [[NSData alloc] initWithBytes:bytes length:length]; }
id foundation_makeArray(const id *elements, size_t count) {
  return [[NSArray alloc] initWithObjects:elements count:count];
}
id foundation_makeDictionary(const id *keys, const id *values, size_t count) {
  return [[NSDictionary alloc] initWithObjects:values forKeys:keys count:count];
}
