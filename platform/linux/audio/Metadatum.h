// What the session manager says of a default device: a JSON object with the device's node name, as
// text in the daemon's metadata. Any program that may talk to the daemon can write there.
//
// Pure functions, any thread.
#pragma once

#include <string>

namespace hallkorb {

// The string "name" in the object; empty if there is none or the text is no such
// object.
[[nodiscard]] std::string nameAusJson(const char* text);

}  // namespace hallkorb
