#include "session/Zusammenschnitt.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <system_error>
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
  Kanalleser(const Sitzungsordner& ordner, const Spur& spur) : ordner_(ordner), spur_(spur) {}

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
    const auto datei = Lesedatei::oeffne(ordner_.zu(stueck.datei));
    if (!datei) return false;
    puffer_.resize(static_cast<std::size_t>((ende - anfang) * SAMPLE_BYTES));
    const std::size_t n =
        datei->liesAn(stueck.datenAb + (anfang - stueck.ab) * SAMPLE_BYTES, puffer_) / 2;
    std::size_t stelle = static_cast<std::size_t>(anfang - von) * schritt + ab;
    for (std::size_t i = 0; i < n; ++i, stelle += schritt) {
      ziel[stelle] = puffer_[2 * i];
      ziel[stelle + 1] = puffer_[2 * i + 1];
    }
    return n > 0;
  }

  const Sitzungsordner& ordner_;
  const Spur& spur_;
  std::size_t erstes_ = 0;
  Bytes puffer_;
};

// A link at the target would be followed; who has planted it must not decide what is written over.
void entferneVerweis(const std::string& pfad) {
  std::error_code egal;
  if (std::filesystem::is_symlink(std::filesystem::symlink_status(pfad, egal)))
    std::filesystem::remove(pfad, egal);
}

}  // namespace

Ergebnis schreibeTon(const Sitzungsordner& ordner, const Zeitplan& plan,
                     std::span<const Kanal> kanaele, const std::string& ziel,
                     const std::function<void(double)>& fortschritt) {
  const std::int64_t frames = plan.bis();
  const std::size_t schritt = kanaele.size() * 2;
  const auto breite = static_cast<std::int64_t>(schritt);
  if (frames > MAX_BYTES / breite)
    return Fehler::eigener(Fehlercode::zuLang,
                           "die Aufnahme ist laenger, als eine WAV-Datei sein kann");
  entferneVerweis(ziel);
  Ersatzdatei datei(ziel);
  const WavKopf anfang =
      kopf(plan.rate, kanaele.size(), static_cast<std::uint32_t>(frames * breite));
  datei.schreibe(anfang);
  std::vector<Kanalleser> leser;
  for (const Kanal kanal : kanaele)
    leser.emplace_back(ordner, plan.von(kanal));
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
