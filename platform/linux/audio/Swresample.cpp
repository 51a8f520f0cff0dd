#include "platform/linux/audio/Swresample.h"

#include <string>

#include "platform/linux/Bibliothek.h"

namespace hallkorb {
namespace {

// FFmpeg 5.1 names channel layouts as we do. The last is far ahead of any that exists.
constexpr int AELTESTE = 4;
constexpr int NEUESTE = 12;

SwresampleAufrufe rufe;

Ergebnis lade(int version) {
  Bibliothek bibliothek("libswresample.so." + std::to_string(version));
  SwresampleAufrufe neu;
  // What the library is linked with is found through it, too.
#define HALLKORB_FINDE_RUF(name) bibliothek.finde(#name, neu.name);
  HALLKORB_SWRESAMPLE(HALLKORB_FINDE_RUF)
#undef HALLKORB_FINDE_RUF
  Ergebnis ergebnis = bibliothek.ergebnis("swresample");
  if (ergebnis.gelungen()) rufe = neu;
  return ergebnis;
}

Ergebnis ladeIrgendeine() {
  Ergebnis ergebnis = lade(LIBSWRESAMPLE_VERSION_MAJOR);
  if (ergebnis.gelungen()) return ergebnis;
  for (int version = NEUESTE; version >= AELTESTE; --version) {
    if (version != LIBSWRESAMPLE_VERSION_MAJOR && lade(version).gelungen()) return {};
  }
  return ergebnis;
}

}  // namespace

Ergebnis ladeSwresample() {
  static const Ergebnis ergebnis = ladeIrgendeine();
  return ergebnis;
}

const SwresampleAufrufe& swresample() {
  return rufe;
}

}  // namespace hallkorb
