#include "platform/clock/Gleichlauf.h"

#include <algorithm>
#include <utility>

namespace hallkorb {

Gleichlauf::Gleichlauf(Weiter weiter) : weiter_(std::move(weiter)) {}

void Gleichlauf::nimm(const PcmBlock& block, const Stempelfilter::Ort& ort) {
  if (!ort.zeit) {
    weiter_(block);
    return;
  }
  if (!zeit_) beginne(*ort.zeit);
  if (ort.sprung != 0) spuele(ort.sprung);

  const double wartend = regler_.greiftEin() ? werte_.wartend() : 0.0;
  const double platz = *zeit_ + wartend * (1 + regler_.verhaeltnis()) / format_.rate;
  regler_.schritt(block.dauer(), ort.gemessen ? std::optional(*ort.zeit - platz) : std::nullopt);
  if (const double rueckstand = regler_.nimmRueckstand(); rueckstand != 0) spuele(rueckstand);
  if (regler_.greiftEin()) {
    strecke(block);
    return;
  }
  werte_.merke(block);
  PcmBlock unveraendert = block;
  unveraendert.hostTime = zeit_;
  *zeit_ += block.dauer();
  weiter_(unveraendert);
}

void Gleichlauf::richteEin(const PcmFormat& format) {
  if (format_ == format) return;
  format_ = format;
  werte_.richteEin(format.channels, STUECK);
}

void Gleichlauf::beginne(double zeit) {
  werte_.beginne();
  regler_ = Taktregler();
  zeit_ = zeit;
}

// Sound was lost, or the device is too far off: hand on what came before, then move to the new
// place.
void Gleichlauf::spuele(double sprung) {
  if (regler_.greiftEin()) {
    werte_.nimmEnde();
    gib(werte_.zieh(1 / (1 + regler_.verhaeltnis()), format_.interleaved));
    const double rest = static_cast<double>(Zwischenwerte::DANACH) - werte_.wartend();
    werte_.beginne(rest);
  }
  *zeit_ += sprung;
}

void Gleichlauf::strecke(const PcmBlock& block) {
  const double schritt = 1 / (1 + regler_.verhaeltnis());
  for (std::size_t ab = 0; ab < block.frames; ab += STUECK) {
    werte_.nimm(block, ab, std::min<std::size_t>(STUECK, block.frames - ab));
    gib(werte_.zieh(schritt, format_.interleaved));
  }
}

void Gleichlauf::gib(std::span<const float> samples) {
  if (samples.empty()) return;
  PcmBlock block;
  block.format = format_;
  block.frames = static_cast<std::uint32_t>(samples.size() / format_.channels);
  block.samples = samples;
  block.hostTime = zeit_;
  *zeit_ += block.dauer();
  weiter_(block);
}

void Gleichlauf::beende() {
  if (zeit_) spuele(0.0);
  zeit_.reset();
}

}  // namespace hallkorb
