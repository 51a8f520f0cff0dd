#include "platform/linux/audio/Swresample.h"

#include <cerrno>
#include <string>

#include "platform/linux/Bibliothek.h"

namespace hallkorb {
namespace {

// From FFmpeg 5 on; the last is far ahead of any that exists.
constexpr int AELTESTE = 4;
constexpr int NEUESTE = 12;

SwresampleAufrufe rufe;
using Probe = bool (*)(const SwresampleAufrufe&);

Ergebnis lade(int version, Probe taugt) {
  Bibliothek bibliothek("libswresample.so." + std::to_string(version));
  SwresampleAufrufe neu;
  // What the library is linked with is found through it, too.
#define HALLKORB_FINDE_RUF(name) bibliothek.finde(#name, neu.name);
  HALLKORB_SWRESAMPLE(HALLKORB_FINDE_RUF)
#undef HALLKORB_FINDE_RUF
  Ergebnis ergebnis = bibliothek.ergebnis("swresample");
  if (ergebnis.gescheitert()) return ergebnis;
  if (!taugt(neu)) {
    return Fehler{"swresample", ENOSYS,
                  "die Bibliothek libswresample.so." + std::to_string(version) +
                      " kennt nicht alle Einstellungen, die gebraucht werden"};
  }
  rufe = neu;
  return {};
}

Ergebnis ladeIrgendeine(Probe taugt) {
  Ergebnis ergebnis = lade(LIBSWRESAMPLE_VERSION_MAJOR, taugt);
  if (ergebnis.gelungen()) return ergebnis;
  for (int version = NEUESTE; version >= AELTESTE; --version) {
    if (version != LIBSWRESAMPLE_VERSION_MAJOR && lade(version, taugt).gelungen()) return {};
  }
  return ergebnis;
}

}  // namespace

Ergebnis ladeSwresample(Probe taugt) {
  static const Ergebnis ergebnis = ladeIrgendeine(taugt);
  return ergebnis;
}

const SwresampleAufrufe& swresample() {
  return rufe;
}

}  // namespace hallkorb
