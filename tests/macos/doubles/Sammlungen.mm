// Stand-ins for numbers, lists and dictionaries, all immutable.
#include <utility>
#include <vector>

#include "tests/macos/doubles/Ersatz.h"

@implementation NSValue
@dynamic objCType;
- (instancetype)init {
  return [super init];
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
@end

@interface HKZahl : NSNumber {
 @public
  long long ganz;
  double bruch;
}
@end

namespace {

NSNumber* ganzeZahl(long long wert) {
  HKZahl* zahl = [[HKZahl alloc] init];
  zahl->ganz = wert;
  zahl->bruch = static_cast<double>(wert);
  return zahl;
}

}  // namespace

@implementation NSNumber
@dynamic intValue, unsignedIntValue, longLongValue, unsignedLongLongValue, floatValue, doubleValue,
    boolValue, integerValue, unsignedIntegerValue, stringValue;
+ (NSNumber*)numberWithInt:(int)wert {
  return ganzeZahl(wert);
}
+ (NSNumber*)numberWithUnsignedInt:(unsigned)wert {
  return ganzeZahl(wert);
}
+ (NSNumber*)numberWithLong:(long)wert {
  return ganzeZahl(wert);
}
+ (NSNumber*)numberWithUnsignedLong:(unsigned long)wert {
  return ganzeZahl(static_cast<long long>(wert));
}
+ (NSNumber*)numberWithLongLong:(long long)wert {
  return ganzeZahl(wert);
}
+ (NSNumber*)numberWithInteger:(NSInteger)wert {
  return ganzeZahl(wert);
}
+ (NSNumber*)numberWithBool:(BOOL)wert {
  return ganzeZahl(wert);
}
+ (NSNumber*)numberWithDouble:(double)wert {
  HKZahl* zahl = [[HKZahl alloc] init];
  zahl->ganz = static_cast<long long>(wert);
  zahl->bruch = wert;
  return zahl;
}
@end

@implementation HKZahl
- (NSInteger)integerValue {
  return static_cast<NSInteger>(ganz);
}
- (long long)longLongValue {
  return ganz;
}
- (int)intValue {
  return static_cast<int>(ganz);
}
- (double)doubleValue {
  return bruch;
}
- (BOOL)isEqual:(id)andere {
  return [andere isKindOfClass:[HKZahl class]] && static_cast<HKZahl*>(andere)->bruch == bruch;
}
@end

@interface HKListe : NSArray {
 @public
  std::vector<id> werte;
}
@end

@implementation NSArray
@dynamic count, firstObject, lastObject;
+ (instancetype)arrayWithObjects:(const id[])objekte count:(NSUInteger)anzahl {
  HKListe* liste = [[HKListe alloc] init];
  liste->werte.assign(objekte, objekte + anzahl);
  return static_cast<NSArray*>(liste);
}
- (instancetype)init {
  return [super init];
}
- (NSUInteger)count {
  return 0;
}
- (id)firstObject {
  return nil;
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)stand
                                  objects:(id __unsafe_unretained[])platz
                                    count:(NSUInteger)anzahl {
  return 0;
}
@end

@implementation HKListe
- (NSUInteger)count {
  return werte.size();
}
- (id)firstObject {
  return werte.empty() ? nil : werte.front();
}
- (id)lastObject {
  return werte.empty() ? nil : werte.back();
}
- (id)objectAtIndexedSubscript:(NSUInteger)stelle {
  return werte.at(stelle);
}
- (id)objectAtIndex:(NSUInteger)stelle {
  return werte.at(stelle);
}
// In portions of three, so that a loop asks more than once.
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)stand
                                  objects:(id __unsafe_unretained[])platz
                                    count:(NSUInteger)anzahl {
  NSUInteger i = 0;
  for (; i < std::min<NSUInteger>(anzahl, 3) && stand->state < werte.size(); ++i, ++stand->state)
    platz[i] = werte[stand->state];
  stand->itemsPtr = platz;
  stand->mutationsPtr = &stand->extra[0];
  return i;
}
@end

// The compiler's own @[], static data.
@interface HKUnsterblichLeereListe : NSArray
@end
@implementation HKUnsterblichLeereListe
@end
extern "C" {
extern char hkKlasseLeereListe __asm__("OBJC_CLASS_$_HKUnsterblichLeereListe");
struct HKStatischesObjekt {
  void* isa;
};
HKStatischesObjekt hkLeereListe = {&hkKlasseLeereListe};
void* __NSArray0__ = &hkLeereListe;
}

NSArray* hallkorb::ersatz::listeAus(const std::vector<id>& werte) {
  HKListe* liste = [[HKListe alloc] init];
  liste->werte = werte;
  return liste;
}

@interface HKTafel : NSDictionary {
 @public
  std::vector<std::pair<id, id>> paare;
}
@end

@implementation NSDictionary
@dynamic count, allKeys, allValues;
+ (instancetype)dictionaryWithObjects:(const id[])werte
                              forKeys:(const id<NSCopying>[])namen
                                count:(NSUInteger)anzahl {
  HKTafel* tafel = [[HKTafel alloc] init];
  for (NSUInteger i = 0; i < anzahl; ++i)
    tafel->paare.emplace_back(namen[i], werte[i]);
  return static_cast<NSDictionary*>(tafel);
}
- (instancetype)init {
  return [super init];
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
@end

@implementation HKTafel
- (NSUInteger)count {
  return paare.size();
}
- (id)objectForKey:(id)name {
  for (const auto& [n, wert] : paare) {
    if ([n isEqual:name]) return wert;
  }
  return nil;
}
- (id)objectForKeyedSubscript:(id)name {
  return [self objectForKey:name];
}
@end
