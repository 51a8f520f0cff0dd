// The root class. The only file without automatic reference counting, which it is made of.
#import <Foundation/Foundation.h>

#include "tests/macos/runtime/Abi.h"

#if __has_feature(objc_arc)
#error "compile without -fobjc-arc: the counting calls are defined here"
#endif

#pragma clang diagnostic ignored "-Wprotocol"
#pragma clang diagnostic ignored "-Wincomplete-implementation"
#pragma clang diagnostic ignored "-Wobjc-property-implementation"
#pragma clang diagnostic ignored "-Wobjc-protocol-property-synthesis"
#pragma clang diagnostic ignored "-Wdeprecated-objc-isa-usage"

@implementation NSObject

+ (instancetype)alloc {
  return static_cast<id>(hk_alloc(self));
}
+ (instancetype)new {
  return [[self alloc] init];
}
+ (Class)class {
  return self;
}
- (instancetype)init {
  return self;
}
- (void)dealloc {
  hk_freigeben(self);
}

- (instancetype)retain {
  return static_cast<id>(objc_retain(self));
}
- (oneway void)release {
  objc_release(self);
}
- (instancetype)autorelease {
  return static_cast<id>(objc_autorelease(self));
}
- (NSUInteger)retainCount {
  return hk_zaehler(self);
}
- (id)copy {
  return static_cast<id>(objc_retain(self));
}

- (instancetype)self {
  return self;
}
- (Class)class {
  return isa;
}
- (BOOL)isEqual:(id)anderes {
  return self == anderes;
}
- (NSUInteger)hash {
  return reinterpret_cast<NSUInteger>(self);
}
- (BOOL)isKindOfClass:(Class)klasse {
  for (void* k = isa; k != nullptr; k = hk_superklasse(k)) {
    if (k == static_cast<void*>(klasse)) return YES;
  }
  return NO;
}
- (BOOL)isMemberOfClass:(Class)klasse {
  return isa == klasse;
}
- (BOOL)respondsToSelector:(SEL)sel {
  return hk_antwortet(isa, reinterpret_cast<const char*>(sel));
}
- (NSString*)description {
  return [NSString stringWithUTF8String:hk_klassenname(isa)];
}

@end
