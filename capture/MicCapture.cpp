#include "capture/MicCapture.h"

#include <cinttypes>
#include <utility>

#include "base/Ausgabe.h"
#include "base/Text.h"

namespace hallkorb {

MicCapture::MicCapture(double rate, Zeitachse& zeit, Weiter weiter,
                       std::unique_ptr<AudioInput> eingang, AudioConverterFactory& konverter)
    : weg_(rate, zeit, std::move(weiter), konverter), eingang_(std::move(eingang)) {}

MicCapture::~MicCapture() {
  stop();
}

Ergebnis MicCapture::start() {
  Ergebnis ergebnis = eingang_->start(*this);
  if (ergebnis.gelungen()) log("[hallkorb] Mikrofon-Capture gestartet");
  return ergebnis;
}

void MicCapture::stop() {
  static_cast<void>(eingang_->stop());
}

void MicCapture::block(const PcmBlock& block) {
  weg_.nimm(block);
}

void MicCapture::unterbrochen(const Fehler& fehler) {
  log("[hallkorb] Mikrofon unterbrochen: " + fehler.description);
}

void MicCapture::fortgesetzt() {
  log("[hallkorb] Mikrofon wieder da");
}

void MicCapture::verloren(std::uint64_t bloecke) {
  log(formatiert("[hallkorb] Mikrofon: %" PRIu64 " Bloecke verloren, Verarbeitung zu langsam",
                 bloecke));
}

void MicCapture::hinweis(const Fehler& fehler) {
  log("[hallkorb] " + fehler.description);
}

}  // namespace hallkorb
