// Stand-ins for errors and exceptions.
#include "tests/macos/doubles/Ersatz.h"

NSString* const NSLocalizedDescriptionKey = @"NSLocalizedDescription";
NSString* const NSPOSIXErrorDomain = @"NSPOSIXErrorDomain";
NSString* const NSCocoaErrorDomain = @"NSCocoaErrorDomain";

@implementation NSError {
  NSDictionary* _angaben;
}
@synthesize domain = _domain, code = _code;
@dynamic userInfo, localizedDescription, localizedFailureReason;
- (instancetype)initWithDomain:(NSErrorDomain)domain
                          code:(NSInteger)code
                      userInfo:(NSDictionary*)angaben {
  if ((self = [super init]) != nil) {
    _domain = domain;
    _code = code;
    _angaben = angaben;
  }
  return self;
}
+ (instancetype)errorWithDomain:(NSErrorDomain)domain
                           code:(NSInteger)code
                       userInfo:(NSDictionary*)angaben {
  return [[self alloc] initWithDomain:domain code:code userInfo:angaben];
}
- (NSString*)localizedDescription {
  NSString* text = _angaben[NSLocalizedDescriptionKey];
  return text != nil ? text : @"(keine Beschreibung)";
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
@end

@implementation NSException {
 @public
  NSString* _name;
  NSString* _grund;
}
@dynamic userInfo;
- (NSExceptionName)name {
  return _name;
}
- (NSString*)reason {
  return _grund;
}
- (void)raise {
  @throw self;
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
@end

namespace hallkorb::ersatz {

NSError* fehlerMit(NSString* domain, long code, const std::string& text) {
  return [NSError errorWithDomain:domain
                             code:code
                         userInfo:@{NSLocalizedDescriptionKey : textAus(text)}];
}

void wirf(const std::string& name, const std::string& grund) {
  NSException* ausnahme = [[NSException alloc] init];
  ausnahme->_name = textAus(name);
  if (!grund.empty()) ausnahme->_grund = textAus(grund);
  @throw ausnahme;
}

}  // namespace hallkorb::ersatz
