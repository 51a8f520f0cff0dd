#include "capture/SystemAudioCapture.h"

#include <cinttypes>
#include <utility>

#include "base/Ausgabe.h"
#include "base/Text.h"

namespace hallkorb {

SystemAudioCapture::SystemAudioCapture(double rate, Zeitachse& zeit,
                                       std::unique_ptr<AudioInput> eingang,
                                       AudioConverterFactory& konverter)
    : weg_(
          rate, zeit, [this](std::vector<float> samples) { weiter(std::move(samples)); },
          konverter),
      eingang_(std::move(eingang)) {}

SystemAudioCapture::~SystemAudioCapture() {
  static_cast<void>(stop());
}

Ergebnis SystemAudioCapture::start() {
  Ergebnis ergebnis = eingang_->start(*this);
  if (ergebnis.gelungen()) log("[hallkorb] System-Audio-Capture gestartet");
  return ergebnis;
}

Ergebnis SystemAudioCapture::stop() {
  return eingang_->stop();
}

void SystemAudioCapture::block(const PcmBlock& block) {
  weg_.nimm(block);
}

void SystemAudioCapture::unterbrochen(const Fehler& fehler) {
  log("[hallkorb] SCStream gestoppt: " + fehler.description);
}

void SystemAudioCapture::fortgesetzt() {
  log("[hallkorb] System-Audio wieder da");
}

void SystemAudioCapture::verloren(std::uint64_t bloecke) {
  log(formatiert("[hallkorb] System-Audio: %" PRIu64 " Bloecke verloren, Verarbeitung zu langsam",
                 bloecke));
}

void SystemAudioCapture::hinweis(const Fehler& fehler) {
  log("[hallkorb] " + fehler.description);
}

}  // namespace hallkorb
