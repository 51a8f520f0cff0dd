// Stand-ins for strings: literals of the compiler, and those made at run time.
//
// As on the platform, the pointer of UTF8String lives as long as the pool that was current.
#include <cstring>
#include <string>

#include "tests/macos/doubles/Ersatz.h"

@interface HKText : NSString {
 @public
  std::string zeichen;
}
@end

// A literal: static data whose layout the compiler knows.
@interface HKUnsterblichText : NSString {
 @public
  int flags;
  const char* zeichen;
  unsigned long laenge;
}
@end
asm(".globl __CFConstantStringClassReference\n"
    ".set __CFConstantStringClassReference, \"OBJC_CLASS_$_HKUnsterblichText\"\n");

namespace {

// How many bytes follow the first one of a character; -1 if it cannot be a first one.
int folgebytes(unsigned char erstes) {
  if (erstes < 0x80) return 0;
  if (erstes >= 0xf0 && erstes < 0xf5) return 3;
  if (erstes >= 0xe0 && erstes < 0xf0) return 2;
  if (erstes >= 0xc2 && erstes < 0xe0) return 1;
  return -1;
}

// UTF-8, as far as tests need to know.
bool gueltig(const char* text) {
  while (*text != 0) {
    int folgend = folgebytes(static_cast<unsigned char>(*text++));
    if (folgend < 0) return false;
    for (; folgend > 0; --folgend) {
      if ((static_cast<unsigned char>(*text++) & 0xc0) != 0x80) return false;
    }
  }
  return true;
}

}  // namespace

NSString* hallkorb::ersatz::textAus(const std::string& text) {
  HKText* neu = [[HKText alloc] init];
  neu->zeichen = text;
  return neu;
}

@implementation NSString
@dynamic length, UTF8String, doubleValue, integerValue, lowercaseString, uppercaseString,
    stringByDeletingLastPathComponent, lastPathComponent, pathExtension,
    precomposedStringWithCanonicalMapping, decomposedStringWithCanonicalMapping,
    fileSystemRepresentation;
+ (instancetype)stringWithUTF8String:(const char*)text {
  return gueltig(text) ? hallkorb::ersatz::textAus(text) : nil;
}
- (instancetype)init {
  return [super init];
}
- (BOOL)isEqualToString:(NSString*)anderer {
  return anderer != nil && std::strcmp(self.UTF8String, anderer.UTF8String) == 0;
}
- (BOOL)isEqual:(id)anderer {
  return [anderer isKindOfClass:[NSString class]] && [self isEqualToString:anderer];
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
@end

@implementation HKText
- (const char*)UTF8String {
  HKText* kopie = [[HKText alloc] init];
  kopie->zeichen = zeichen;
  __autoreleasing HKText* imPool = kopie;
  return imPool->zeichen.c_str();
}
- (NSUInteger)length {
  return zeichen.size();
}
@end

@implementation HKUnsterblichText
- (const char*)UTF8String {
  return zeichen;
}
- (NSUInteger)length {
  return laenge;
}
@end
