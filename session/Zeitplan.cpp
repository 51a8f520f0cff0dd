#include "session/Zeitplan.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <utility>

#include "session/Lesedatei.h"
#include "session/WavBefund.h"

namespace hallkorb {
namespace {

// Two times of the lines that mean the same sample.
constexpr double GLEICH = 0.001;

class Planer {
 public:
  Planer(const Sitzungsordner& ordner, Zeitplan& plan, Dateien& dateien)
      : ordner_(ordner), plan_(plan), dateien_(dateien) {}

  // The rate of most files.
  [[nodiscard]] std::int64_t haeufigsteRate() {
    std::map<std::int64_t, int> anzahl;
    for (const Kanal kanal : {Kanal::me, Kanal::them})
      for (const auto& [nummer, name] : ordner_.chunksVon(kanal))
        if (const auto wav = befund(kanal, nummer)) ++anzahl[wav->rate];
    std::int64_t rate = 0;
    int meiste = 0;
    for (const auto& [hz, wieOft] : anzahl) {
      if (wieOft > meiste) {
        rate = hz;
        meiste = wieOft;
      }
    }
    return rate;
  }

  void mitZeilen(const std::vector<ChunkZeile>& zeilen, Spur& spur) {
    double davor = 0.0;
    for (const ChunkZeile& zeile : zeilen) {
      Stueck stueck = lies(zeile.kanal, zeile.nummer);
      const double dauer = zeile.t1 - zeile.t0;
      const bool ganz =
          stueck.laenge > 0 && std::abs(plan_.sekunden(stueck.laenge) - dauer) <= RUNDUNG;
      stueck.soll = ganz ? stueck.laenge : inSamples(dauer);
      const bool folgt = std::abs(zeile.t0 - davor) < GLEICH;
      stueck.ab = folgt ? spur.bis : inSamples(zeile.t0);
      spur.bis = std::max(spur.bis, stueck.ab + stueck.soll);
      davor = zeile.t1;
      if (stueck.laenge > 0) spur.stuecke.push_back(std::move(stueck));
    }
  }

  void ohneZeilen(Kanal kanal, Spur& spur) {
    for (const auto& [nummer, name] : ordner_.chunksVon(kanal)) {
      Stueck stueck = lies(kanal, nummer);
      if (stueck.laenge == 0) continue;
      stueck.ab = spur.bis;
      stueck.soll = stueck.laenge;
      spur.bis = stueck.bis();
      spur.stuecke.push_back(std::move(stueck));
    }
  }

 private:
  std::optional<WavBefund> befund(Kanal kanal, std::int64_t nummer) {
    const auto datei = Lesedatei::oeffne(ordner_.zu(chunkName(kanal, nummer)), dateien_);
    if (!datei) {
      plan_.unlesbar |= ordner_.chunksVon(kanal).contains(nummer);
      return std::nullopt;
    }
    auto ergebnis = liesWavBefund(*datei);
    plan_.unlesbar |= datei->fehlernummer() != 0;
    if (ergebnis && !ergebnis->eigener) return std::nullopt;
    return ergebnis;
  }

  [[nodiscard]] Stueck lies(Kanal kanal, std::int64_t nummer) {
    Stueck stueck;
    stueck.nummer = nummer;
    stueck.datei = chunkName(kanal, nummer);
    const auto wav = befund(kanal, nummer);
    if (!wav) return stueck;
    if (wav->rate != plan_.rate) {
      plan_.fremdeRate.push_back(stueck.datei);
      return stueck;
    }
    gesamt_ += wav->samples();
    if (plan_.sekunden(gesamt_) > 2.0 * MAX_SEKUNDEN) return stueck;
    stueck.laenge = wav->samples();
    stueck.datenAb = wav->datenAb;
    return stueck;
  }

  [[nodiscard]] std::int64_t inSamples(double sekunden) const {
    return std::llround(sekunden * static_cast<double>(plan_.rate));
  }

  const Sitzungsordner& ordner_;
  Zeitplan& plan_;
  Dateien& dateien_;
  // Of both channels. No recording has more than the lines can tell of, but sparse files of
  // gigabytes cost their maker nothing, and whoever reads them hours.
  std::int64_t gesamt_ = 0;
};

}  // namespace

std::int64_t Zeitplan::bis() const {
  std::int64_t ende = 0;
  for (const Spur* spur : {&me, &them})
    for (const Stueck& stueck : spur->stuecke)
      ende = std::max(ende, stueck.bis());
  return ende;
}

double Zeitplan::sekunden(std::int64_t samples) const {
  return rate > 0 ? static_cast<double>(samples) / static_cast<double>(rate) : 0.0;
}

Zeitplan planeZeit(const Sitzungsordner& ordner, const Ereignisse* ereignisse, Dateien& dateien) {
  Zeitplan plan;
  Planer planer(ordner, plan, dateien);
  plan.rate = planer.haeufigsteRate();
  plan.geschaetzt = ereignisse == nullptr;
  if (plan.rate == 0) return plan;
  for (const Kanal kanal : {Kanal::me, Kanal::them}) {
    Spur& spur = kanal == Kanal::me ? plan.me : plan.them;
    if (ereignisse != nullptr) {
      planer.mitZeilen(ereignisse->chunksVon(kanal), spur);
    } else {
      planer.ohneZeilen(kanal, spur);
    }
  }
  return plan;
}

}  // namespace hallkorb
