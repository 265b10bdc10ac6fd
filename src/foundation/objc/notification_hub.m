#import "foundation/objc/notification_hub.h"

#import <Foundation/Foundation.h>
#include <objc/runtime.h>

// GNUstep logs and drops what an observer raises; as documented, the poster receives it. So what an observer of ours
// raises is kept until the post is over, and the methods that post are replaced.

/// A post that runs on this thread.
struct Post {
  id raised;
  struct Post *outer;
};
static __thread struct Post *current;

@interface PLNotificationHub : NSObject
@end

@implementation PLNotificationHub
+ (void)receive:(NSNotification *)notification {
  struct Post *post = current;
  @try {
    foundation_notificationPosted(notification);
  } @catch (id raised) {
    if (post == NULL) @throw;
    if (post->raised == nil) post->raised = [raised retain];
  }
}
@end

static void (*ownPost)(id, SEL, id);
static void (*ownPostName)(id, SEL, id, id, id);

static void begin(struct Post *post) {
  *post = (struct Post){nil, current};
  current = post;
}
static void finish(struct Post *post) {
  if (post->raised != nil) @throw [post->raised autorelease];
}

static void postNotification(id self, SEL selector, id notification) {
  struct Post post;
  begin(&post);
  @try {
    ownPost(self, selector, notification);
  } @finally {
    current = post.outer;
  }
  finish(&post);
}
static void postNotificationName(id self, SEL selector, id name, id object, id info) {
  struct Post post;
  begin(&post);
  @try {
    ownPostName(self, selector, name, object, info);
  } @finally {
    current = post.outer;
  }
  finish(&post);
}

// -postNotificationName:object: sends the second one.
static void replacePosts(void) {
  Method post = class_getInstanceMethod([NSNotificationCenter class], @selector(postNotification:));
  Method postName = class_getInstanceMethod([NSNotificationCenter class], @selector(postNotificationName:
                                                                                                  object:userInfo:));
  ownPost = (void (*)(id, SEL, id))method_getImplementation(post);
  ownPostName = (void (*)(id, SEL, id, id, id))method_getImplementation(postName);
  method_setImplementation(post, (IMP)postNotification);
  method_setImplementation(postName, (IMP)postNotificationName);
}

void foundation_receiveNotifications(id name) {
  @synchronized([PLNotificationHub class]) {
    if (ownPost == NULL) replacePosts();
  }
  [[NSNotificationCenter defaultCenter] addObserver:[PLNotificationHub class]
                                           selector:@selector(receive:)
                                               name:name
                                             object:nil];
}
