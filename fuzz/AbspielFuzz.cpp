// Kept lines from anywhere, played to a host: the whole playback on a simulated computer, with a
// signal at any moment. The host reads lines of the recorder only, each of them whole, and each
// chunk and video that it reads about is there; nothing but the recorder's names is written.
#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "audiofiles/Wav.h"
#include "fuzz/Bytestrom.h"
#include "session/Ereignisse.h"
#include "session/Sitzungsordner.h"
#include "session/Spieldateien.h"
#include "session/Spielplan.h"
#include "session/Zeile.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"
#include "tool/Abspieler.h"

namespace hallkorb {
namespace {

constexpr double SPIELZEIT = 8.0;  // seconds of the simulated computer, at most

// The recorded files, the same for all inputs; one chunk is none.
const TempOrdner& aufnahme() {
  static const TempOrdner ordner;
  static const bool angelegt = [] {
    for (const char* name :
         {"chunk_me_000.wav", "chunk_me_002.wav", "chunk_them_000.wav", ROHDATEI})
      pruefe(writeWav(std::vector<float>(1600, 0.25F), 16000.0, ordner / name).gelungen());
    legeAn(ordner / "chunk_me_001.wav", {'R', 'I', 'F', 'F'});
    legeAn(ordner / VIDEODATEI, {0, 0, 0, 8, 'f', 't', 'y', 'p'});
    return true;
  }();
  pruefe(angelegt);
  return ordner;
}

void pruefePlan(const Spielplan& plan) {
  pruefe(plan.stoppAb <= plan.schritte.size());
  double bisher = 0.0;
  for (const Spielschritt& schritt : plan.schritte) {
    pruefe(schritt.zeit >= bisher && schritt.zeit <= plan.ende);
    pruefe(schritt.text.find('\n') == std::string::npos);
    bisher = schritt.zeit;
  }
  pruefe(plan.ende <= MAX_SEKUNDEN);
}

void pruefeZeile(const std::string& text, const TempOrdner& ziel) {
  const auto zeile = liesZeile(text);
  pruefe(zeile.has_value());
  const auto* andere = std::get_if<AndereZeile>(&*zeile);
  pruefe(andere == nullptr || !andere->ereignis.empty());
  if (const auto* chunk = std::get_if<ChunkZeile>(&*zeile)) {
    const std::string pfad = ziel / chunkName(chunk->kanal, chunk->nummer);
    pruefe(chunk->pfad == pfad && std::filesystem::is_regular_file(pfad));
  }
  if (std::holds_alternative<VideoZeile>(*zeile))
    pruefe(std::filesystem::is_regular_file(ziel / VIDEODATEI));
}

void pruefeDateien(const TempOrdner& ziel) {
  const auto gespielt = liesSitzungsordner(ziel.pfad());
  pruefe(gespielt && gespielt->unfertig.empty() && gespielt->keineDatei.empty());
  const std::size_t eigene = gespielt->chunks[0].size() + gespielt->chunks[1].size() +
                             std::size_t{gespielt->roh} + std::size_t{gespielt->video};
  pruefe(ziel.namen().size() == eigene);
  for (const std::string& name : ziel.namen())
    pruefe(std::filesystem::file_size(ziel / name) <=
           std::filesystem::file_size(aufnahme() / name));
}

// The first byte says when a signal comes, the second how fast it is played; the rest are lines.
void laufe(Bytestrom daten) {
  const double signal = static_cast<double>(daten.byte()) / 255.0 * SPIELZEIT;
  const bool soSchnellWieMoeglich = daten.byte() % 4 == 0;
  const std::string_view zeilen = daten.text();
  std::ofstream(aufnahme() / EREIGNISSE, std::ios::binary) << zeilen;
  const auto ordner = liesSitzungsordner(aufnahme().pfad());
  auto plan = planeSpiel(*ordner);
  if (!plan) return;
  pruefePlan(*plan);

  const TempOrdner ziel;
  const AusgabeFaenger faenger;
  sim::SimPlattform welt;
  if (signal > 0.0) welt.signal(signal, SIGINT);
  const double tempo = soSchnellWieMoeglich ? 0.0 : std::max(1.0, plan->ende / SPIELZEIT);
  int status = 0;
  {
    Spieldateien dateien(*ordner, ziel.pfad());
    status = Abspieler(std::move(*plan), dateien, welt, tempo).laufe();
  }
  const auto ausgabe = faenger.ausgabeZeilen();
  for (const std::string& zeile : ausgabe)
    pruefeZeile(zeile, ziel);
  pruefe(status >= 0 && status <= 2);
  if (status == 0) pruefe(std::holds_alternative<FertigZeile>(*liesZeile(ausgabe.back())));
  for (const std::string& zeile : faenger.fehlerZeilen())
    pruefe(zeile.starts_with("[hallkorb] "));
  pruefeDateien(ziel);
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge) {
  hallkorb::laufe(hallkorb::Bytestrom({daten, laenge}));
  return 0;
}
