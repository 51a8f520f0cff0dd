#include "session/Spielplan.h"

#include <algorithm>
#include <cinttypes>
#include <string_view>
#include <utility>
#include <variant>

#include "base/Dateien.h"
#include "base/Text.h"
#include "session/Ereignisse.h"
#include "session/Lesedatei.h"
#include "session/WavBefund.h"

namespace hallkorb {
namespace {

// The moment that a line names, if it names one.
double eigeneZeit(const Zeile& zeile) {
  if (const auto* chunk = std::get_if<ChunkZeile>(&zeile)) return chunk->t1;
  if (const auto* bild = std::get_if<BildZeile>(&zeile)) return bild->zeit;
  return 0.0;
}

bool gehoertZumStopp(const Zeile& zeile) {
  return std::holds_alternative<VideoZeile>(zeile) || std::holds_alternative<EchoZeile>(zeile) ||
         std::holds_alternative<ZeitachseZeile>(zeile) ||
         std::holds_alternative<FertigZeile>(zeile);
}

// The microphone's raw file goes on to the end, also in a silence of which nothing was kept.
double rohSekunden(const Sitzungsordner& ordner) {
  const auto datei = ordner.roh ? Lesedatei::oeffne(ordner.zu(ROHDATEI)) : std::nullopt;
  const auto befund = datei ? liesWavBefund(*datei) : std::nullopt;
  return befund ? std::min(befund->sekunden(), MAX_SEKUNDEN) : 0.0;
}

// Forgets the recordings before the one that starts now. What was missing is reported before
// "started" and belongs to it.
void beginneNeu(std::vector<Spielschritt>& schritte) {
  const auto anderes = [](const Spielschritt& schritt) {
    return std::holds_alternative<AndereZeile>(schritt.inhalt);
  };
  const auto davor = std::find_if_not(schritte.rbegin(), schritte.rend(), [&](const auto& schritt) {
    const auto* meldung = std::get_if<MeldungZeile>(&schritt.inhalt);
    return anderes(schritt) || (meldung != nullptr && meldung->name == "degraded");
  });
  schritte.erase(schritte.begin(), davor.base());
  std::erase_if(schritte, anderes);
}

void setzeZeiten(Spielplan& plan) {
  for (const Spielschritt& schritt : plan.schritte)
    plan.ende = std::max(plan.ende, eigeneZeit(schritt.inhalt));
  const auto stopp =
      std::find_if(plan.schritte.begin(), plan.schritte.end(),
                   [](const auto& schritt) { return gehoertZumStopp(schritt.inhalt); });
  plan.stoppAb = static_cast<std::size_t>(stopp - plan.schritte.begin());
  double bisher = 0.0;
  for (std::size_t i = 0; i < plan.schritte.size(); ++i) {
    Spielschritt& schritt = plan.schritte[i];
    bisher = i < plan.stoppAb ? std::max(bisher, eigeneZeit(schritt.inhalt)) : plan.ende;
    schritt.zeit = bisher;
  }
}

}  // namespace

std::optional<Spielplan> planeSpiel(const Sitzungsordner& ordner) {
  Spielplan plan;
  bool laeuft = false;  // a recording, from its "started" to its "done"
  const Lesbarkeit gelesen = liesZeilen(ordner.zu(EREIGNISSE), [&](std::string&& text, bool) {
    auto zeile = liesZeile(text);
    if (!zeile) return;
    const auto* andere = std::get_if<AndereZeile>(&*zeile);
    if (andere != nullptr && (andere->ereignis.empty() || !laeuft)) return;
    if (std::holds_alternative<StartZeile>(*zeile)) {
      beginneNeu(plan.schritte);
      laeuft = true;
    }
    if (std::holds_alternative<FertigZeile>(*zeile)) laeuft = false;
    text.erase(text.find_last_not_of(" \t\r") + 1);
    plan.schritte.push_back({0.0, std::move(text), std::move(*zeile)});
  });
  if (gelesen == Lesbarkeit::garNicht || plan.schritte.empty()) return std::nullopt;
  plan.ende = rohSekunden(ordner);
  setzeZeiten(plan);
  return plan;
}

std::string spielText(const Spielschritt& schritt, const std::string& ziel) {
  if (const auto* chunk = std::get_if<ChunkZeile>(&schritt.inhalt))
    return chunkText(*chunk, pfadIn(ziel, chunkName(chunk->kanal, chunk->nummer)));
  if (const auto* video = std::get_if<VideoZeile>(&schritt.inhalt)) {
    return R"({"event":"video","path":")" + jsonEscape(pfadIn(ziel, VIDEODATEI)) +
           formatiert(R"(","frames":%)" PRId64 R"(,"quelle":")", video->bilder) +
           jsonEscape(video->quelle) + "\"}";
  }
  return schritt.text;
}

std::string chunkText(const ChunkZeile& chunk, const std::string& pfad) {
  std::string text = formatiert("{\"chunk\":%" PRId64 ",\"channel\":\"", chunk.nummer) +
                     std::string(kanalName(chunk.kanal)) + "\",\"path\":\"" + pfad +
                     formatiert("\",\"t0\":%.2f,\"t1\":%.2f", chunk.t0, chunk.t1);
  if (chunk.spracheMs) text += formatiert(",\"sprache_ms\":%" PRId64, *chunk.spracheMs);
  return text + "}";
}

}  // namespace hallkorb
