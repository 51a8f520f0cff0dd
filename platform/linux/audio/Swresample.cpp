#include "platform/linux/audio/Swresample.h"

#include <string>

namespace hallkorb {

HALLKORB_SWRESAMPLE(HALLKORB_DEFINIERE)

Ergebnis ladeSwresample() {
  static const Ergebnis ergebnis = []() -> Ergebnis {
    if (Ergebnis avutil = ladeAvutil(); avutil.gescheitert()) return avutil;
    Bibliothek bibliothek("libswresample.so." + std::to_string(LIBSWRESAMPLE_VERSION_MAJOR));
    HALLKORB_SWRESAMPLE(HALLKORB_FINDE)
    return bibliothek.ergebnis("swresample");
  }();
  return ergebnis;
}

}  // namespace hallkorb
