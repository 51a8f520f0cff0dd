#include "driver/modes/EchoDatei.h"

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "audiofiles/Wav.h"
#include "base/Ausgabe.h"
#include "base/Text.h"
#include "echo/EchoStrecke.h"

namespace hallkorb {
namespace {

constexpr std::size_t SCHRITT = 4800;  // 0.3 s: the pieces in which both files are walked

std::unique_ptr<ChannelChunker> chunker(const Config& config, Dateien& dateien) {
  if (!config.chunkOrdner) return nullptr;
  // A folder that cannot be made shows in every chunk's own error.
  static_cast<void>(erzeugeOrdner(*config.chunkOrdner, dateien));
  // The mode's own turn-mode values, not those of the configuration: the long maximum leaves the
  // cut to the pauses, so that runs can be compared.
  return std::make_unique<ChannelChunker>(ChunkerEinstellung{.channel = "me",
                                                             .outDir = *config.chunkOrdner,
                                                             .rate = EK_R,
                                                             .chunkSeconds = config.chunkSeconds,
                                                             .turnMode = true,
                                                             .minSeconds = 1.2,
                                                             .maxSeconds = 15.0,
                                                             .silenceSeconds = 0.6,
                                                             .silenceRms = 0.006F},
                                          dateien);
}

// Both files as a live recording would deliver them, the reference a little ahead.
void speise(EchoStrecke& strecke, std::span<const float> mikro, std::span<const float> referenz) {
  const auto stueck = [](std::span<const float> samples, std::size_t ab) {
    return samples.subspan(ab, std::min(SCHRITT, samples.size() - ab));
  };
  const std::size_t laengste = std::max(mikro.size(), referenz.size());
  for (std::size_t ab = 0; ab < laengste; ab += SCHRITT) {
    if (ab < referenz.size()) strecke.referenz(stueck(referenz, ab));
    if (ab < mikro.size()) strecke.mikro(stueck(mikro, ab));
  }
  strecke.abschliessen();
}

}  // namespace

int echoDatei(const Config& config, Dateien& dateien) {
  auto mikro = liesWav(config.echoDatei[0], dateien);
  auto referenz = mikro ? liesWav(config.echoDatei[1], dateien) : std::nullopt;
  if (!referenz) {
    log("[hallkorb] --echo-datei: WAV nicht lesbar");
    return 2;
  }

  EchoStrecke strecke(EK_PARTITIONEN);
  strecke.nachfilter(!config.ohneNachfilter);
  std::vector<float> gereinigt;
  const std::size_t laenge = mikro->size();
  gereinigt.reserve(laenge);
  const auto me = chunker(config, dateien);
  strecke.ausgabe = [&](std::span<const float> samples, const std::vector<bool>& sprache) {
    gereinigt.insert(gereinigt.end(), samples.begin(), samples.end());
    if (me) me->append(samples, &sprache);
  };

  const auto beginn = std::chrono::steady_clock::now();
  speise(strecke, *mikro, *referenz);
  if (me) me->finalizeRemainder();
  // An hour of each is 230 MB, and the output file is built in memory.
  mikro.reset();
  referenz.reset();

  if (const Ergebnis fehler = writeWav(gereinigt, EK_R, config.echoDatei[2], dateien)) {
    log("[hallkorb] --echo-datei: Schreiben fehlgeschlagen: " + fehler->gedruckt());
    return 2;
  }

  const std::chrono::duration<double> dauer = std::chrono::steady_clock::now() - beginn;
  std::string zeile = strecke.statistik();
  zeile.pop_back();
  zeile += formatiert(
      ",\"sekunden_audio\":%.1f,\"rechenzeit_s\":%.2f,\"samples\":%zu,\"chunks_ohne_sprache\":"
      "%" PRId64 "}",
      static_cast<double>(laenge) / EK_R, dauer.count(), gereinigt.size(),
      me ? me->ohneSprache() : 0);
  return druckeErgebnis(zeile) ? 0 : 2;
}

}  // namespace hallkorb
