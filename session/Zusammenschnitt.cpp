#include "session/Zusammenschnitt.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "audiofiles/Wav.h"
#include "base/Ersatzdatei.h"
#include "session/Lesedatei.h"

namespace hallkorb {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::int64_t BLOCK = 1 << 16;  // frames
constexpr std::int64_t SAMPLE_BYTES = 2;
constexpr std::int64_t MAX_BYTES = std::numeric_limits<std::uint32_t>::max() - 36;

// The mono header, made one for several channels.
WavKopf kopf(std::int64_t rate, std::size_t kanaele, std::uint32_t bytes) {
  WavKopf ergebnis = wavKopf(rate, bytes);
  const auto breite = static_cast<std::uint32_t>(kanaele * 2);
  const auto proSekunde = static_cast<std::uint32_t>(rate) * breite;
  ergebnis[22] = static_cast<std::uint8_t>(kanaele);
  for (std::size_t i = 0; i < 4; ++i)
    ergebnis[28 + i] = static_cast<std::uint8_t>(proSekunde >> (8 * i));
  ergebnis[32] = static_cast<std::uint8_t>(breite);
  return ergebnis;
}

// One channel, block after block.
class Kanalleser {
 public:
  Kanalleser(const Sitzungsordner& ordner, const Spur& spur, Dateien& dateien,
             std::set<std::string>& unlesbar)
      : ordner_(ordner), spur_(spur), dateien_(dateien), unlesbar_(unlesbar) {}

  // Puts the samples of a block into every `schritt`-th place of `ziel`; false if there are none.
  bool lege(std::int64_t von, std::int64_t bis, Bytes& ziel, std::size_t ab, std::size_t schritt) {
    const auto& alle = spur_.stuecke;
    while (erstes_ < alle.size() && alle[erstes_].bis() <= von)
      ++erstes_;
    bool etwas = false;
    for (std::size_t i = erstes_; i < alle.size() && alle[i].ab < bis; ++i)
      etwas |= legeStueck(alle[i], von, bis, ziel, ab, schritt);
    return etwas;
  }

 private:
  bool legeStueck(const Stueck& stueck, std::int64_t von, std::int64_t bis, Bytes& ziel,
                  std::size_t ab, std::size_t schritt) {
    const std::int64_t anfang = std::max(von, stueck.ab);
    const std::int64_t ende = std::min(bis, stueck.bis());
    if (anfang >= ende) return false;
    const auto datei = Lesedatei::oeffne(ordner_.zu(stueck.datei), dateien_);
    if (!datei) {
      unlesbar_.insert(stueck.datei);
      return false;
    }
    puffer_.resize(static_cast<std::size_t>((ende - anfang) * SAMPLE_BYTES));
    const std::size_t n =
        datei->liesAn(stueck.datenAb + (anfang - stueck.ab) * SAMPLE_BYTES, puffer_) / 2;
    if (n < puffer_.size() / 2) unlesbar_.insert(stueck.datei);
    std::size_t stelle = static_cast<std::size_t>(anfang - von) * schritt + ab;
    for (std::size_t i = 0; i < n; ++i, stelle += schritt) {
      ziel[stelle] = puffer_[2 * i];
      ziel[stelle + 1] = puffer_[2 * i + 1];
    }
    return n > 0;
  }

  const Sitzungsordner& ordner_;
  const Spur& spur_;
  Dateien& dateien_;
  std::set<std::string>& unlesbar_;
  std::size_t erstes_ = 0;
  Bytes puffer_;
};

}  // namespace

Ergebnis schreibeTon(const Sitzungsordner& ordner, const Zeitplan& plan,
                     std::span<const Kanal> kanaele, const std::string& ziel,
                     std::set<std::string>& unlesbar,
                     const std::function<void(double)>& fortschritt, Dateien& dateien) {
  const std::int64_t frames = plan.bis();
  const std::size_t schritt = kanaele.size() * 2;
  const auto breite = static_cast<std::int64_t>(schritt);
  if (frames > MAX_BYTES / breite)
    return Fehler::eigener(Fehlercode::zuLang,
                           "die Aufnahme ist laenger, als eine WAV-Datei sein kann");
  // Who has put a link or a second name of a file there must not decide what is written over.
  Ersatzdatei datei(ziel, dateien, Unersetzbar::lassen, Verweise::ersetzen);
  const WavKopf anfang =
      kopf(plan.rate, kanaele.size(), static_cast<std::uint32_t>(frames * breite));
  datei.schreibe(anfang);
  std::vector<Kanalleser> leser;
  for (const Kanal kanal : kanaele)
    leser.emplace_back(ordner, plan.von(kanal), dateien, unlesbar);
  const auto ort = [&](std::int64_t frame) {
    return static_cast<std::int64_t>(WAV_KOPF_BYTES) + frame * breite;
  };
  Bytes block;
  std::int64_t geschrieben = 0;
  for (std::int64_t von = 0; von < frames; von += BLOCK) {
    const std::int64_t bis = std::min(von + BLOCK, frames);
    block.assign(static_cast<std::size_t>((bis - von) * breite), 0);
    bool etwas = false;
    for (std::size_t k = 0; k < leser.size(); ++k)
      etwas |= leser[k].lege(von, bis, block, 2 * k, schritt);
    if (etwas) {
      datei.schreibeAn(block, ort(von));
      geschrieben = bis;
    }
    if (fortschritt) fortschritt(static_cast<double>(bis) / static_cast<double>(frames));
  }
  if (geschrieben < frames) datei.schreibeAn(Bytes(schritt, 0), ort(frames - 1));
  return datei.vollende();
}

}  // namespace hallkorb
