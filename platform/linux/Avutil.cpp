#include "platform/linux/Avutil.h"

#include <string>

namespace hallkorb {

HALLKORB_AVUTIL(HALLKORB_DEFINIERE)

Ergebnis ladeAvutil() {
  static const Ergebnis ergebnis = [] {
    Bibliothek bibliothek("libavutil.so." + std::to_string(LIBAVUTIL_VERSION_MAJOR));
    HALLKORB_AVUTIL(HALLKORB_FINDE)
    return bibliothek.ergebnis("libav");
  }();
  return ergebnis;
}

}  // namespace hallkorb
