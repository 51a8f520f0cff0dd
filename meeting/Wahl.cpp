#include "meeting/Wahl.h"

#include "base/Text.h"

namespace hallkorb {

std::string wahlJSON(const Wahl& wahl) {
  return R"({"art":")" + wahl.art + R"(","id":)" + std::to_string(wahl.id) + R"(,"quelle":")" +
         jsonEscape(wahl.quelle) + R"(","rang":)" + std::to_string(wahl.rang) + R"(,"grund":")" +
         jsonEscape(wahl.grund) + "\"}";
}

}  // namespace hallkorb
