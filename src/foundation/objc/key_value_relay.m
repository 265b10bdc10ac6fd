#import "foundation/objc/key_value_relay.h"

@interface PLKeyValueRelay : NSObject {
 @public
  void *_state;
  void (*_end)(void *state);
}
@end

@implementation PLKeyValueRelay
- (void)observeValueForKeyPath:(NSString *)keyPath
                      ofObject:(id)object
                        change:(NSDictionary *)change
                       context:(void *)context {
  (void)context;
  [[self retain] autorelease];  // the last observer may remove itself
  foundation_relayChange(self, keyPath, object, change);
}
- (void)dealloc {
  _end(_state);
  [super dealloc];
}
@end

id foundation_makeRelay(void *state, void (*end)(void *state)) {
  PLKeyValueRelay *relay = [PLKeyValueRelay new];
  relay->_state = state;
  relay->_end = end;
  return relay;
}
void *foundation_relayState(id relay) { return ((PLKeyValueRelay *)relay)->_state; }
id foundation_changeWith(id change, bool wantsNew, bool wantsOld) {
  NSMutableDictionary *wanted = [NSMutableDictionary dictionaryWithDictionary:change];
  if (!wantsNew) [wanted removeObjectForKey:NSKeyValueChangeNewKey];
  if (!wantsOld) [wanted removeObjectForKey:NSKeyValueChangeOldKey];
  return wanted;
}
