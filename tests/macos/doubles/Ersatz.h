// What the stand-ins offer each other. Objective-C++ only, any thread.
#pragma once

#import <Foundation/Foundation.h>

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
void setzeMikrofonZurueck();
void setzeWandlerZurueck();
void setzeSchreiberZurueck();
void setzeBildschirmZurueck();

}  // namespace hallkorb::ersatz
