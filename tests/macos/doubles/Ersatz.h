// What the stand-ins offer each other, and how the compiler takes them. Objective-C++ only, any
// thread.
//
// A stand-in has what is used of a class. So warnings of what it lacks are off; and a class of
// Foundation has the properties that its stand-in defines, and not all that the platform declares.
// For the latter this header must be the first that imports Foundation.
#pragma once

#pragma clang diagnostic ignored "-Wprotocol"
#pragma clang diagnostic ignored "-Wincomplete-implementation"
#pragma clang diagnostic ignored "-Wobjc-property-implementation"
#pragma clang diagnostic ignored "-Wobjc-designated-initializers"
#pragma clang diagnostic ignored "-Wpragma-clang-attribute"

#pragma clang attribute push(__attribute__((objc_requires_property_definitions)), \
                             apply_to = objc_interface)
#import <Foundation/Foundation.h>
#pragma clang attribute pop

#include <string>
#include <vector>

namespace hallkorb::ersatz {

[[nodiscard]] NSString* textAus(const std::string& text);
[[nodiscard]] NSArray* listeAus(const std::vector<id>& werte);
[[nodiscard]] NSError* fehlerMit(NSString* domain, long code, const std::string& text);
// Raises an NSException.
[[noreturn]] void wirf(const std::string& name, const std::string& grund);
// Posts a notification on the calling thread, as the platform does.
void melde(NSString* name, id objekt);

// Of each stand-in, for setzeZurueck().
void setzeTondienstZurueck();
void setzeMikrofonZurueck();
void setzeWandlerZurueck();
void setzeSchreiberZurueck();
void setzeBildschirmZurueck();

}  // namespace hallkorb::ersatz
