// Stand-in for the notification centre. A notification holds the object that it is about, and comes
// on the thread that posts it.
#include <mutex>
#include <vector>

#include "tests/macos/doubles/Ersatz.h"
#include "tests/macos/doubles/System.h"

@implementation NSNotification {
 @public
  NSString* _name;
  id _objekt;
}
@dynamic userInfo;
- (NSNotificationName)name {
  return _name;
}
- (id)object {
  return _objekt;
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
@end

@interface HKBeobachter : NSObject {
 @public
  NSString* name;
  __weak id objekt;
  bool alle;
  void (^block)(NSNotification*);
}
@end
@implementation HKBeobachter
@end

@interface NSNotificationCenter ()
- (void)hkMelde:(NSString*)name von:(id)objekt;
- (long)hkAnzahl;
@end

@implementation NSNotificationCenter {
  std::mutex _lock;
  std::vector<HKBeobachter*> _beobachter;
}
+ (NSNotificationCenter*)defaultCenter {
  static NSNotificationCenter* einer = [[NSNotificationCenter alloc] init];
  __autoreleasing NSNotificationCenter* imPool = einer;
  return imPool;
}
- (id<NSObject>)addObserverForName:(NSNotificationName)name
                            object:(id)objekt
                             queue:(NSOperationQueue*)queue
                        usingBlock:(void (^)(NSNotification*))block {
  HKBeobachter* neu = [[HKBeobachter alloc] init];
  neu->name = name;
  neu->objekt = objekt;
  neu->alle = objekt == nil;
  neu->block = block;
  const std::lock_guard halter(_lock);
  _beobachter.push_back(neu);
  return neu;
}
- (void)removeObserver:(id)wen {
  HKBeobachter* gehalten = nil;  // its block may go only when the lock is free
  const std::lock_guard halter(_lock);
  for (auto i = _beobachter.begin(); i != _beobachter.end(); ++i) {
    if (*i != wen) continue;
    gehalten = *i;
    _beobachter.erase(i);
    break;
  }
  static_cast<void>(gehalten);
}
- (void)hkMelde:(NSString*)name von:(id)objekt {
  std::vector<HKBeobachter*> ziele;
  {
    const std::lock_guard halter(_lock);
    for (HKBeobachter* b : _beobachter) {
      if ([b->name isEqualToString:name] && (b->alle || b->objekt == objekt)) ziele.push_back(b);
    }
  }
  NSNotification* meldung = [[NSNotification alloc] init];
  meldung->_name = name;
  meldung->_objekt = objekt;
  for (HKBeobachter* b : ziele)
    b->block(meldung);
}
- (long)hkAnzahl {
  const std::lock_guard halter(_lock);
  return static_cast<long>(_beobachter.size());
}
@end

namespace hallkorb::ersatz {

void melde(NSString* name, id objekt) {
  [[NSNotificationCenter defaultCenter] hkMelde:name von:objekt];
}

long beobachter() {
  @autoreleasepool {
    return [[NSNotificationCenter defaultCenter] hkAnzahl];
  }
}

}  // namespace hallkorb::ersatz
