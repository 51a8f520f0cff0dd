#include "session/Nachtrag.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "session/Lesedatei.h"
#include "session/WavBefund.h"
#include "session/Zeitplan.h"

namespace hallkorb {
namespace {

// Seconds by which the chunks may miss the end of the raw file: a channel's last silence is
// dropped, and the devices do not end together. Silence dropped between two chunks is longer.
constexpr double SPIEL = 0.5;
constexpr double REST_SEKUNDEN = 0.05;  // less is not worth a chunk

struct Ton {
  Lesedatei datei;
  WavBefund wav;

  // Samples that are there, whatever the header declares.
  [[nodiscard]] std::int64_t samples() const { return wav.vorhanden / 2; }
};

// nullopt if it is no sound of the recorder; `unlesbar` is set if it could not be read.
std::optional<Ton> oeffneTon(const std::string& pfad, Dateien& dateien, bool& unlesbar) {
  auto datei = Lesedatei::oeffne(pfad, dateien);
  const auto wav = datei ? liesWavBefund(*datei) : std::nullopt;
  unlesbar |= !datei || datei->fehlernummer() != 0;
  if (!wav || !wav->eigener) return std::nullopt;
  return Ton{std::move(*datei), *wav};
}

class Sucher {
 public:
  Sucher(const Sitzungsordner& ordner, const Ereignisse& ereignisse, const Ton& roh,
         Dateien& dateien)
      : ordner_(ordner),
        ereignisse_(ereignisse),
        roh_(roh),
        dateien_(dateien),
        plan_(planeZeit(ordner, &ereignisse, dateien)),
        unlesbar_(plan_.unlesbar) {}

  Nachtrag laufe() {
    if (unlesbar_) return {{}, {}, true};
    if (plan_.rate != 0 && plan_.rate != roh_.wav.rate) return {};
    if (sekunden(roh_.samples()) > MAX_SEKUNDEN - SPIEL) return {};  // a line would be refused
    nimmAuf(Kanal::me);
    nimmAuf(Kanal::them);
    if (unlesbar_ || roh_.datei.fehlernummer() != 0) return {{}, {}, true};
    const auto mindestens =
        static_cast<std::int64_t>(REST_SEKUNDEN * static_cast<double>(roh_.wav.rate));
    // It is cut only from a raw file whose header is right, or can be put right.
    if (roh_.samples() - meBis_ > mindestens && roh_.wav.erneuerbar() &&
        naechsteNummer(ordner_, ereignisse_) <= MAX_NUMMER) {
      nachtrag_.restAb = meBis_;
    }
    return std::move(nachtrag_);
  }

 private:
  [[nodiscard]] double sekunden(std::int64_t samples) const {
    return static_cast<double>(samples) / static_cast<double>(roh_.wav.rate);
  }

  // Where the channel's lines end. Without any chunk that can be read the plan has no rate.
  [[nodiscard]] std::int64_t endeVon(Kanal kanal) const {
    if (plan_.rate != 0) return plan_.von(kanal).bis;
    double ende = 0.0;
    for (const ChunkZeile& zeile : ereignisse_.chunks)
      if (zeile.kanal == kanal) ende = std::max(ende, zeile.t1);
    return std::llround(ende * static_cast<double>(roh_.wav.rate));
  }

  void nimmAuf(Kanal kanal) {
    const std::int64_t ab = endeVon(kanal);
    std::int64_t bis = ab;
    std::vector<ChunkZeile> zeilen;
    for (std::int64_t nummer = naechsteAngesagte(kanal);; ++nummer) {
      const auto chunk = ohneZeile(kanal, nummer);
      if (!chunk) break;
      const bool roh = kanal == Kanal::me && ausRoh(*chunk, bis);
      zeilen.push_back({nummer, kanal, ordner_.zu(chunkName(kanal, nummer)), sekunden(bis),
                        sekunden(bis + chunk->samples()), std::nullopt, roh});
      bis += chunk->samples();
    }
    const bool passt = bis > ab && std::abs(sekunden(roh_.samples() - bis)) <= SPIEL;
    if (passt) nachtrag_.chunks.insert(nachtrag_.chunks.end(), zeilen.begin(), zeilen.end());
    if (kanal == Kanal::me) meBis_ = passt ? bis : ab;
  }

  // The number behind those of a channel's lines.
  [[nodiscard]] std::int64_t naechsteAngesagte(Kanal kanal) const {
    std::int64_t nummer = -1;
    for (const ChunkZeile& zeile : ereignisse_.chunks)
      if (zeile.kanal == kanal) nummer = std::max(nummer, zeile.nummer);
    return nummer + 1;
  }

  [[nodiscard]] std::optional<Ton> ohneZeile(Kanal kanal, std::int64_t nummer) {
    const auto& namen = ordner_.chunksVon(kanal);
    const auto name = namen.find(nummer);
    if (name == namen.end()) return std::nullopt;
    auto ton = oeffneTon(ordner_.zu(name->second), dateien_, unlesbar_);
    if (!ton || ton->wav.rate != roh_.wav.rate || ton->samples() == 0) return std::nullopt;
    if (!ton->wav.erneuerbar()) return std::nullopt;  // longer than the recorder makes any
    return ton;
  }

  // A chunk that a killed repair had cut. Without echo removal there is no telling them apart, and
  // no need to.
  [[nodiscard]] bool ausRoh(const Ton& chunk, std::int64_t ab) {
    const bool gleich = chunk.datei.gleicht(chunk.wav.datenAb, roh_.datei,
                                            roh_.wav.datenAb + ab * 2, chunk.samples() * 2);
    unlesbar_ |= chunk.datei.fehlernummer() != 0;
    return gleich && (!ereignisse_.start || ereignisse_.start->echo);
  }

  const Sitzungsordner& ordner_;
  const Ereignisse& ereignisse_;
  const Ton& roh_;
  Dateien& dateien_;
  Zeitplan plan_;
  bool unlesbar_;
  std::int64_t meBis_ = 0;  // samples of "me" that have a chunk
  Nachtrag nachtrag_;
};

}  // namespace

Nachtrag findeNachtrag(const Sitzungsordner& ordner, const Ereignisse& ereignisse,
                       Dateien& dateien) {
  // After an orderly end the recorder itself has decided what was worth a chunk.
  if (ereignisse.fertig || !ordner.roh) return {};
  bool unlesbar = false;
  const auto roh = oeffneTon(ordner.zu(ROHDATEI), dateien, unlesbar);
  if (unlesbar) return {{}, {}, true};
  if (!roh) return {};
  return Sucher(ordner, ereignisse, *roh, dateien).laufe();
}

std::int64_t naechsteNummer(const Sitzungsordner& ordner, const Ereignisse& ereignisse) {
  std::int64_t nummer = ordner.hoechsteFremde[static_cast<std::size_t>(Kanal::me)];
  for (const ChunkZeile& zeile : ereignisse.chunks)
    if (zeile.kanal == Kanal::me) nummer = std::max(nummer, zeile.nummer);
  const auto& dateien = ordner.chunksVon(Kanal::me);
  if (!dateien.empty()) nummer = std::max(nummer, dateien.rbegin()->first);
  return nummer + 1;
}

}  // namespace hallkorb
