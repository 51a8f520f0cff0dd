#include "capture/AudioCapture.h"

#include <cinttypes>
#include <string>
#include <utility>

#include "base/Ausgabe.h"
#include "base/Text.h"

namespace hallkorb {

AudioCapture::AudioCapture(const Texte& texte, double rate, Zeitachse& zeit, Weiter empfaenger,
                           std::unique_ptr<AudioInput> input, AudioConverterFactory& konverter)
    : weiter(std::move(empfaenger)),
      texte_(texte),
      weg_(
          rate, zeit, [this](std::vector<float> samples) { weiter(std::move(samples)); },
          konverter),
      input_(std::move(input)) {}

AudioCapture::~AudioCapture() {
  static_cast<void>(stop());
}

Ergebnis AudioCapture::start() {
  Ergebnis ergebnis = input_->start(*this);
  if (ergebnis.gelungen()) log(std::string("[hallkorb] ") + texte_.name + "-Capture gestartet");
  return ergebnis;
}

Ergebnis AudioCapture::stop() {
  return input_->stop();
}

void AudioCapture::block(const PcmBlock& block) {
  switch (nullen_.nimm(block)) {
    case Nullenwacht::Wechsel::STUMM:
      log(formatiert("[hallkorb] %s: seit %.0f s nur Nullen — stumm geschaltet?", texte_.name,
                     nullen_.dauer()));
      break;
    case Nullenwacht::Wechsel::WIEDER_TON:
      log(formatiert("[hallkorb] %s: wieder Ton, nach %.0f s Nullen", texte_.name,
                     nullen_.dauer()));
      break;
    case Nullenwacht::Wechsel::NICHTS:
      break;
  }
  weg_.nimm(block);
}

void AudioCapture::unterbrochen(const Fehler& fehler) {
  log(std::string("[hallkorb] ") + texte_.unterbrechung + ": " + fehler.description);
}

void AudioCapture::fortgesetzt() {
  log(std::string("[hallkorb] ") + texte_.name + " wieder da");
}

void AudioCapture::verloren(std::uint64_t bloecke) {
  log(formatiert("[hallkorb] %s: %" PRIu64 " Bloecke verloren, Verarbeitung zu langsam",
                 texte_.name, bloecke));
}

void AudioCapture::hinweis(const Fehler& fehler) {
  log("[hallkorb] " + fehler.description);
}

}  // namespace hallkorb
