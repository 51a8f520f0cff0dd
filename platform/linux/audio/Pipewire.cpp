#include "platform/linux/audio/Pipewire.h"

namespace hallkorb {

HALLKORB_PIPEWIRE(HALLKORB_DEFINIERE)

Ergebnis ladePipewire() {
  static const Ergebnis ergebnis = [] {
    Bibliothek bibliothek("libpipewire-0.3.so.0");
    HALLKORB_PIPEWIRE(HALLKORB_FINDE)
    return bibliothek.ergebnis("pipewire");
  }();
  return ergebnis;
}

}  // namespace hallkorb
