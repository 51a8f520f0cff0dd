#include "session/Ereignisse.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>
#include <variant>

#include "session/Lesedatei.h"

namespace hallkorb {
namespace {

constexpr std::size_t GENANNTE = 100;
constexpr std::size_t BLOCK = std::size_t{64} * 1024;

// Puts a line where it belongs.
struct Einsortierer {
  Ereignisse& alle;

  void operator()(const StartZeile& zeile) const {
    const std::size_t bisher = alle.aufnahmen;
    // "degraded" comes before "started" and belongs to it, also if the recording before it was
    // killed.
    auto& meldungen = alle.meldungen;
    meldungen.erase(meldungen.begin(),
                    meldungen.end() - static_cast<std::ptrdiff_t>(alle.degradedOffen));
    alle.chunks.clear();
    alle.bilder.clear();
    alle.video.reset();
    alle.echo.reset();
    alle.zeitachse.reset();
    alle.fertig = false;
    alle.start = zeile;
    alle.aufnahmen = bisher + 1;
  }
  void operator()(ChunkZeile& zeile) const { alle.chunks.push_back(std::move(zeile)); }
  void operator()(BildZeile& zeile) const { alle.bilder.push_back(std::move(zeile)); }
  void operator()(VideoZeile& zeile) const { alle.video = std::move(zeile); }
  void operator()(MeldungZeile& zeile) const {
    if (alle.fertig && alle.degradedOffen == 0) alle.meldungen.clear();
    alle.meldungen.push_back(std::move(zeile));
  }
  void operator()(const EchoZeile& zeile) const { alle.echo = zeile; }
  void operator()(const ZeitachseZeile& zeile) const { alle.zeitachse = zeile; }
  void operator()(const FertigZeile&) const { alle.fertig = true; }
  void operator()(const AndereZeile&) const {}
};

}  // namespace

void Ereignisse::nimm(std::string_view text, std::size_t nummer) {
  if (text.find_first_not_of(" \t\r") == std::string_view::npos) return;
  auto zeile = liesZeile(text);
  if (zeile) {
    // The host's own lines, and broken ones, may stand anywhere.
    if (std::holds_alternative<AndereZeile>(*zeile)) return;
    const auto* meldung = std::get_if<MeldungZeile>(&*zeile);
    const bool degraded = meldung != nullptr && meldung->name == "degraded";
    std::visit(Einsortierer{*this}, *zeile);
    degradedOffen = degraded ? degradedOffen + 1 : 0;
    return;
  }
  ++unlesbare;
  if (unlesbar.size() < GENANNTE) unlesbar.push_back(nummer);
}

std::vector<ChunkZeile> Ereignisse::chunksVon(Kanal kanal) const {
  std::map<std::int64_t, ChunkZeile> nachNummer;
  for (const ChunkZeile& chunk : chunks)
    if (chunk.kanal == kanal) nachNummer.insert_or_assign(chunk.nummer, chunk);
  std::vector<ChunkZeile> ergebnis;
  ergebnis.reserve(nachNummer.size());
  for (auto& [nummer, chunk] : nachNummer)
    ergebnis.push_back(std::move(chunk));
  std::stable_sort(ergebnis.begin(), ergebnis.end(),
                   [](const ChunkZeile& a, const ChunkZeile& b) { return a.t0 < b.t0; });
  return ergebnis;
}

bool Ereignisse::fehltOhneGrund(Kanal kanal) const {
  if (!start || (kanal == Kanal::me ? start->mic : start->system)) return false;
  return std::none_of(meldungen.begin(), meldungen.end(), [&](const MeldungZeile& meldung) {
    return meldung.name == "degraded" && meldung.kanal == kanal;
  });
}

Lesbarkeit liesZeilen(const std::string& pfad, const std::function<void(std::string&&, bool)>& nimm,
                      Dateien& dateien) {
  const auto datei = Lesedatei::oeffne(pfad, dateien);
  if (!datei) return Lesbarkeit::garNicht;
  std::string zeile;  // begun, at most one byte longer than what is read
  std::vector<std::uint8_t> block(BLOCK);
  std::int64_t stelle = 0;
  while (stelle < MAX_ZEILEN_BYTES) {
    const std::size_t n = datei->liesAn(stelle, block);
    if (n == 0) break;
    stelle += static_cast<std::int64_t>(n);
    for (const std::uint8_t byte : std::span(block).first(n)) {
      if (byte == '\n') {
        nimm(std::move(zeile), true);
        zeile.clear();
      } else if (zeile.size() <= MAX_ZEILE) {
        zeile += static_cast<char>(byte);
      }
    }
  }
  if (stelle >= MAX_ZEILEN_BYTES && stelle < datei->groesse()) return Lesbarkeit::teilweise;
  if (!zeile.empty()) nimm(std::move(zeile), false);
  return datei->fehlernummer() == 0 ? Lesbarkeit::ganz : Lesbarkeit::teilweise;
}

std::optional<Ereignisse> liesEreignisse(const std::string& pfad, Dateien& dateien) {
  Ereignisse alle;
  std::size_t nummer = 1;
  const auto nimm = [&](std::string&& zeile, bool beendet) {
    alle.offen = !beendet;
    alle.nimm(zeile, nummer++);
  };
  const Lesbarkeit lesbarkeit = liesZeilen(pfad, nimm, dateien);
  if (lesbarkeit == Lesbarkeit::garNicht) return std::nullopt;
  alle.ganz = lesbarkeit == Lesbarkeit::ganz;
  return alle;
}

}  // namespace hallkorb
