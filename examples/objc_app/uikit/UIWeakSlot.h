#pragma once

// Weak variables without reference counting by the compiler: the functions that it would call.

#import <Foundation/Foundation.h>

extern id objc_storeWeak(id *slot, id object);
extern id objc_loadWeakRetained(id *slot);

static inline void UIStoreWeakSlot(id *slot, id object) { objc_storeWeak(slot, object); }
static inline id UILoadWeakSlot(id *slot) { return [objc_loadWeakRetained(slot) autorelease]; }
