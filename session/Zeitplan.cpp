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

std::optional<WavBefund> befund(const Sitzungsordner& ordner, const std::string& name) {
  const auto datei = Lesedatei::oeffne(ordner.zu(name));
  if (!datei) return std::nullopt;
  auto ergebnis = liesWavBefund(*datei);
  if (ergebnis && !ergebnis->eigener) return std::nullopt;
  return ergebnis;
}

class Planer {
 public:
  Planer(const Sitzungsordner& ordner, Zeitplan& plan) : ordner_(ordner), plan_(plan) {}

  void mitZeilen(const std::vector<ChunkZeile>& zeilen, Spur& spur) {
    double davor = 0.0;
    for (const ChunkZeile& zeile : zeilen) {
      Stueck stueck = lies(zeile.nummer, chunkName(zeile.kanal, zeile.nummer));
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

  void ohneZeilen(const std::map<std::int64_t, std::string>& namen, Spur& spur) {
    for (const auto& [nummer, name] : namen) {
      Stueck stueck = lies(nummer, name);
      if (stueck.laenge == 0) continue;
      stueck.ab = spur.bis;
      stueck.soll = stueck.laenge;
      spur.bis = stueck.bis();
      spur.stuecke.push_back(std::move(stueck));
    }
  }

 private:
  [[nodiscard]] Stueck lies(std::int64_t nummer, const std::string& name) {
    Stueck stueck;
    stueck.nummer = nummer;
    stueck.datei = name;
    const auto wav = befund(ordner_, name);
    if (!wav) return stueck;
    if (wav->rate != plan_.rate) {
      plan_.fremdeRate.push_back(name);
      return stueck;
    }
    stueck.laenge = wav->samples();
    stueck.datenAb = wav->datenAb;
    return stueck;
  }

  [[nodiscard]] std::int64_t inSamples(double sekunden) const {
    return std::llround(sekunden * static_cast<double>(plan_.rate));
  }

  const Sitzungsordner& ordner_;
  Zeitplan& plan_;
};

// The rate of most files.
std::int64_t haeufigsteRate(const Sitzungsordner& ordner) {
  std::map<std::int64_t, int> anzahl;
  for (const Kanal kanal : {Kanal::me, Kanal::them}) {
    for (const auto& [nummer, name] : ordner.chunksVon(kanal))
      if (const auto wav = befund(ordner, name)) ++anzahl[wav->rate];
  }
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

Zeitplan planeZeit(const Sitzungsordner& ordner, const Ereignisse* ereignisse) {
  Zeitplan plan;
  plan.rate = haeufigsteRate(ordner);
  plan.geschaetzt = ereignisse == nullptr;
  if (plan.rate == 0) return plan;
  Planer planer(ordner, plan);
  for (const Kanal kanal : {Kanal::me, Kanal::them}) {
    Spur& spur = kanal == Kanal::me ? plan.me : plan.them;
    if (ereignisse != nullptr) {
      planer.mitZeilen(ereignisse->chunksVon(kanal), spur);
    } else {
      planer.ohneZeilen(ordner.chunksVon(kanal), spur);
    }
  }
  return plan;
}

}  // namespace hallkorb
