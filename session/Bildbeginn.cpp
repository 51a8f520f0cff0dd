#include "session/Bildbeginn.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "session/Lesedatei.h"
#include "session/WavBefund.h"

namespace hallkorb {
namespace {

// Pictures of a window that was shown for longer are in the file: the recorder looks at the screen
// every two seconds, and holds none back any more after a look that found a meeting.
constexpr double SICHER_DARIN = 60.0;
// What a killed recorder had not written yet of the video, but of the sound: between nothing and a
// second and a half.
constexpr double UNGESCHRIEBEN = 0.75;
// How far the end that is known may be off: devices and the screen may hang at the stop. A video
// that failed before has its end elsewhere, and then no window begins at what is calculated from
// it.
constexpr double SPIEL = 5.0;

}  // namespace

double bekanntesEnde(const Sitzungsordner& ordner, const Ereignisse& ereignisse, Dateien& dateien) {
  double ende = 0.0;
  for (const ChunkZeile& chunk : ereignisse.chunks)
    ende = std::max(ende, chunk.t1);
  for (const BildZeile& bild : ereignisse.bilder)
    ende = std::max(ende, bild.zeit);
  const auto datei = ordner.roh ? Lesedatei::oeffne(ordner.zu(ROHDATEI), dateien) : std::nullopt;
  const auto roh = datei ? liesWavBefund(*datei) : std::nullopt;
  if (!roh || !roh->eigener) return ende;
  // After a kill the header declares less than is there.
  const std::int64_t samples = roh->ganzeBytes() / 2;
  const double dauer = static_cast<double>(samples) / static_cast<double>(roh->rate);
  return std::max(ende, std::min(dauer, MAX_SEKUNDEN));
}

std::optional<double> bildBeginn(const Mp4Befund& video, const Ereignisse& ereignisse,
                                 double ende) {
  std::vector<BildZeile> bilder = ereignisse.bilder;
  std::stable_sort(bilder.begin(), bilder.end(),
                   [](const BildZeile& a, const BildZeile& b) { return a.zeit < b.zeit; });
  // A finished recording without the line of its video has one that failed.
  const bool bekannt =
      video.ausLibav && video.dauer && (!ereignisse.fertig || ereignisse.video.has_value());
  const double gerechnet =
      bekannt ? ende - *video.dauer - (ereignisse.fertig ? 0.0 : UNGESCHRIEBEN) : 0.0;
  std::optional<double> erstes;
  std::optional<double> beginn;
  for (std::size_t i = 0; i < bilder.size(); ++i) {
    if (bilder[i].pause) continue;
    const double zeit = bilder[i].zeit;
    if (!erstes) erstes = zeit;
    if (!beginn || std::abs(zeit - gerechnet) < std::abs(*beginn - gerechnet)) beginn = zeit;
    const bool bleibt = i + 1 == bilder.size() || bilder[i + 1].zeit - zeit > SICHER_DARIN;
    if (!bekannt || bleibt) break;
  }
  if (bekannt && beginn && std::abs(*beginn - gerechnet) > SPIEL) return erstes;
  return beginn;
}

}  // namespace hallkorb
