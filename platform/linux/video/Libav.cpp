#include "platform/linux/video/Libav.h"

#include <array>
#include <string>

#include "platform/linux/Bibliothek.h"

namespace hallkorb {
namespace {

LibavAufrufe rufe;

Ergebnis lade() {
#define HALLKORB_FINDE_RUF(name) bibliothek.finde(#name, rufe.name);
  if (Ergebnis ergebnis = ladeAvutil(); ergebnis.gescheitert()) return ergebnis;
  {
    Bibliothek bibliothek("libavcodec.so." + std::to_string(LIBAVCODEC_VERSION_MAJOR));
    HALLKORB_LIBAVCODEC(HALLKORB_FINDE_RUF)
    if (Ergebnis ergebnis = bibliothek.ergebnis("libav"); ergebnis.gescheitert()) return ergebnis;
  }
  {
    Bibliothek bibliothek("libavformat.so." + std::to_string(LIBAVFORMAT_VERSION_MAJOR));
    HALLKORB_LIBAVFORMAT(HALLKORB_FINDE_RUF)
    if (Ergebnis ergebnis = bibliothek.ergebnis("libav"); ergebnis.gescheitert()) return ergebnis;
  }
  Bibliothek bibliothek("libswscale.so." + std::to_string(LIBSWSCALE_VERSION_MAJOR));
  HALLKORB_LIBSWSCALE(HALLKORB_FINDE_RUF)
#undef HALLKORB_FINDE_RUF
  return bibliothek.ergebnis("libav");
}

}  // namespace

Ergebnis ladeLibav() {
  static const Ergebnis ergebnis = lade();
  return ergebnis;
}

const LibavAufrufe& libav() {
  return rufe;
}

void schweigeLibav() {
  av_log_set_level(AV_LOG_QUIET);
}

Fehler libavFehler(int code, const std::string& was) {
  // Tags of the libraries themselves are negative four-letter words, far below any error number.
  constexpr int KLEINSTE_NUMMER = -4096;
  if (code < 0 && code > KLEINSTE_NUMMER) return Fehler::ausErrno(AVUNERROR(code), was);
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  return {"libav", code, was + ": " + text.data()};
}

}  // namespace hallkorb
