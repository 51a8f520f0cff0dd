#include "tests/echo/scenes/Bewertung.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string>

#include "echo/EchoStrecke.h"

namespace hallkorb::szenen {

namespace {

constexpr std::size_t BLOCK = 256;
// Seconds before and after the near end that belong to it, too: the look-ahead and the hold.
constexpr double NACHWIRKUNG = 0.5;

bool in(const std::vector<Abschnitt>& abschnitte, double t, double rand = 0.0) {
  return std::any_of(abschnitte.begin(), abschnitte.end(), [&](const Abschnitt& a) {
    return t >= a.first - rand && t < a.second + rand;
  });
}

double pegel(std::span<const float> s) {
  double summe = 1e-12;
  for (const float v : s)
    summe += static_cast<double>(v) * static_cast<double>(v);
  return 10.0 * std::log10(summe / static_cast<double>(s.size()));
}

// The canceller's high-pass at 0 Hz. It turns the phase of the lowest tones of a voice, which
// nobody hears but every comparison of samples sees; so the near end is compared behind it.
Signal hochpass(const Signal& x) {
  Signal y;
  y.reserve(x.size());
  double n0 = 0.0;
  double n1 = 0.0;
  for (const double v : x) {
    const double w = v + n0;
    const double r = 0.982 * w;
    n0 = n1 + 2.0 * (r - v);
    n1 = v - 0.9645508 * w;
    y.push_back(r);
  }
  return y;
}

// Sums over chosen samples, from which levels and ratios follow.
struct Summen {
  double mm = 0.0, aa = 0.0, nn = 0.0, an = 0.0, mn = 0.0;
  std::size_t anzahl = 0;

  void nimm(double m, double a, double n) {
    mm += m * m;
    aa += a * a;
    nn += n * n;
    an += a * n;
    mn += m * n;
    ++anzahl;
  }
  [[nodiscard]] std::optional<double> erle() const {
    if (anzahl < 8000) return std::nullopt;
    return 10.0 * std::log10(mm / (aa + 1e-12));
  }
  [[nodiscard]] std::optional<double> nahPegel() const {
    if (anzahl < 8000 || nn <= 0.0) return std::nullopt;
    return 20.0 * std::log10(std::fabs(an) / nn);
  }
  // The part of the signal that is the near end, against the rest of it.
  [[nodiscard]] std::optional<double> sdr(double gesamt, double gemeinsam) const {
    if (anzahl < 8000 || nn <= 0.0) return std::nullopt;
    const double anteil = gemeinsam * gemeinsam / nn;
    return 10.0 * std::log10(anteil / std::max(gesamt - anteil, 1e-12));
  }
};

// What the path made of a scene, sample by sample, and the delay it reported first.
struct Lauf {
  std::vector<float> aus;
  std::vector<bool> marken;
  std::vector<bool> tore;
  std::optional<double> richtigNach;
};

bool driftet(const Vorgabe& v) {
  return v.driftPpm != 0.0 && !v.imTakt;
}

Lauf fuehreDurch(const Szene& szene) {
  const Vorgabe& v = szene.vorgabe;
  Lauf lauf;
  EchoStrecke strecke(20);
  strecke.ausgabe = [&](std::span<const float> samples, const std::vector<bool>& sprache) {
    lauf.aus.insert(lauf.aus.end(), samples.begin(), samples.end());
    lauf.marken.insert(lauf.marken.end(), sprache.begin(), sprache.end());
    lauf.tore.insert(lauf.tore.end(), samples.size(), strecke.kompensation().nachfilter().tor());
  };
  // Drift is corrected in steps of 80 samples.
  const double genau = driftet(v) ? 112.0 : 32.0;
  const std::size_t laenge = szene.mikro.size();
  for (std::size_t ab = 0; ab < laenge; ab += BLOCK) {
    const std::size_t n = std::min(BLOCK, laenge - ab);
    strecke.referenz({szene.referenz.data() + ab, n});
    strecke.mikro({szene.mikro.data() + ab, n});
    const double t = static_cast<double>(ab + n) / RATE;
    const bool gesprungen = v.sprung && t > v.sprung->first;
    const double soll = (gesprungen ? v.sprung->second : v.verzoegerungMs) * RATE / 1000.0;
    const bool gemeldet = strecke.versatzWechsel() > 0 || strecke.delay() > 0;
    if (!lauf.richtigNach && gemeldet && (!v.sprung || gesprungen) &&
        std::fabs(static_cast<double>(strecke.delay()) - soll) <= genau) {
      lauf.richtigNach = t - (v.sprung ? v.sprung->first : 0.0);
    }
  }
  strecke.abschliessen();
  return lauf;
}

// Levels and ratios, by who speaks.
void bewerteKlang(const Szene& szene, const Lauf& lauf, Bewertung& b) {
  const Vorgabe& v = szene.vorgabe;
  const double wechsel = v.sprung     ? v.sprung->first
                         : driftet(v) ? DRIFT_KORREKTUR
                                      : v.raumwechsel.value_or(0.0);
  const Signal nahHoch = hochpass(szene.nah);
  const Signal mikroHoch = hochpass({szene.mikro.begin(), szene.mikro.end()});
  Summen anfang;
  Summen spaeter;
  Summen nah;
  Summen doppel;
  for (std::size_t ab = 0; ab + BLOCK <= szene.mikro.size(); ab += BLOCK) {
    const double t = static_cast<double>(ab) / RATE;
    const bool fernSpricht = in(v.fern, t);
    const bool nahSpricht = in(v.nah, t);
    const bool fernAllein = fernSpricht && !in(v.nah, t, NACHWIRKUNG);
    for (std::size_t i = ab; i < ab + BLOCK; ++i) {
      const double m = mikroHoch[i];
      const double a = static_cast<double>(lauf.aus[i]);
      if (fernAllein && t < 20.0) anfang.nimm(m, a, 0.0);
      if (fernAllein && t >= wechsel + 8.0) spaeter.nimm(m, a, 0.0);
      if (nahSpricht && !fernSpricht) nah.nimm(m, a, nahHoch[i]);
      if (nahSpricht && fernSpricht) doppel.nimm(m, a, nahHoch[i]);
    }
  }
  b.erleAnfang = anfang.erle();
  b.erleSpaeter = spaeter.erle();
  b.nahPegel = nah.nahPegel();
  b.nahSdr = nah.sdr(nah.aa, nah.an);
  b.doppelPegel = doppel.nahPegel();
  b.doppelSdr = doppel.sdr(doppel.aa, doppel.an);
  b.doppelSdrVorher = doppel.sdr(doppel.mm, doppel.mn);
}

// Blocks of one kind, and those of them that are marked wrongly.
struct Anteil {
  std::size_t alle = 0;
  std::size_t falsche = 0;

  void nimm(bool falsch) {
    ++alle;
    falsche += falsch ? 1 : 0;
  }
  [[nodiscard]] std::optional<double> wert() const {
    if (alle == 0) return std::nullopt;
    return static_cast<double>(falsche) / static_cast<double>(alle);
  }
};

void bewerteMarken(const Szene& szene, const Lauf& lauf, Bewertung& b) {
  const Vorgabe& v = szene.vorgabe;
  Anteil falsch;
  Anteil verpasst;
  for (std::size_t ab = 0; ab + BLOCK <= szene.mikro.size(); ab += BLOCK) {
    const double t = static_cast<double>(ab) / RATE;
    const bool sprache = lauf.marken[ab + BLOCK / 2];
    double silbe = 0.0;
    for (std::size_t i = ab; i < ab + BLOCK; ++i)
      silbe += szene.nah[i] * szene.nah[i];
    if (in(v.fern, t) && !in(v.nah, t, NACHWIRKUNG)) falsch.nimm(sprache);
    if (in(v.nah, t) && silbe / BLOCK > 0.02 * 0.02) verpasst.nimm(!sprache);
    b.verlauf.push_back({pegel({szene.mikro.data() + ab, BLOCK}),
                         pegel({szene.referenz.data() + ab, BLOCK}),
                         pegel({lauf.aus.data() + ab, BLOCK}), sprache, lauf.tore[ab + BLOCK / 2]});
  }
  b.falschMarkiert = falsch.wert();
  b.nichtMarkiert = verpasst.wert();
}

}  // namespace

Bewertung bewerte(const Szene& szene, std::vector<float>* ausgabe) {
  Lauf lauf = fuehreDurch(szene);
  Bewertung b;
  b.richtigNach = lauf.richtigNach;
  bewerteKlang(szene, lauf, b);
  bewerteMarken(szene, lauf, b);
  if (ausgabe != nullptr) *ausgabe = std::move(lauf.aus);
  return b;
}

std::vector<Vorgabe> lange() {
  const Vorgabe grund{.name = "",
                      .sekunden = 40.0,
                      .fern = {{0.0, 20.0}, {26.0, 40.0}},
                      .nah = {{20.5, 33.0}},
                      .verzoegerungMs = 100.0,
                      .rauschDb = -65.0,
                      .saat = 1};
  std::vector<Vorgabe> p;
  const auto dazu = [&](const std::string& name, auto aendern) {
    Vorgabe v = grund;
    v.name = name;
    v.saat = p.size() + 1;
    aendern(v);
    p.push_back(v);
  };
  dazu("delay 0 ms", [](Vorgabe& v) { v.verzoegerungMs = 0.0; });
  dazu("delay 40 ms, RT60 0.2 s", [](Vorgabe& v) {
    v.verzoegerungMs = 40.0;
    v.rt60 = 0.2;
  });
  dazu("delay 100 ms", [](Vorgabe&) {});
  dazu("delay 250 ms", [](Vorgabe& v) { v.verzoegerungMs = 250.0; });
  dazu("delay 450 ms, RT60 0.5 s", [](Vorgabe& v) {
    v.verzoegerungMs = 450.0;
    v.rt60 = 0.5;
  });
  dazu("delay 700 ms", [](Vorgabe& v) { v.verzoegerungMs = 700.0; });
  dazu("far end only", [](Vorgabe& v) {
    v.fern = {{0.0, 40.0}};
    v.nah.clear();
  });
  dazu("near end only", [](Vorgabe& v) {
    v.fern.clear();
    v.nah = {{1.0, 39.0}};
  });
  dazu("double talk from the start", [](Vorgabe& v) {
    v.fern = {{0.0, 40.0}};
    v.nah = {{1.0, 30.0}};
  });
  dazu("delay jumps to 300 ms at 12 s", [](Vorgabe& v) {
    v.verzoegerungMs = 40.0;
    v.sprung = std::pair{12.0, 300.0};
    v.fern = {{0.0, 40.0}};
    v.nah.clear();
  });
  dazu("room changes at 12 s", [](Vorgabe& v) {
    v.raumwechsel = 12.0;
    v.fern = {{0.0, 40.0}};
    v.nah.clear();
  });
  dazu("noise at -50 dB", [](Vorgabe& v) { v.rauschDb = -50.0; });
  dazu("noise at -40 dB", [](Vorgabe& v) { v.rauschDb = -40.0; });
  dazu("loud echo, clipped", [](Vorgabe& v) {
    v.echoDb = 6.0;
    v.geklippt = true;
  });
  dazu("far end at -40 dB more", [](Vorgabe& v) { v.fernDb = -40.0; });
  dazu("clock drift 20 ppm", [](Vorgabe& v) { v.driftPpm = 20.0; });
  dazu("clock drift 50 ppm", [](Vorgabe& v) { v.driftPpm = 50.0; });
  dazu("clock drift 100 ppm", [](Vorgabe& v) { v.driftPpm = 100.0; });
  for (const double ppm : {20.0, 50.0, 100.0}) {
    dazu("clock drift " + std::to_string(std::lround(ppm)) + " ppm, on the host's clock",
         [ppm](Vorgabe& v) {
           v.driftPpm = ppm;
           v.imTakt = true;
           v.saat -= 3;  // the same voices and the same room as without
         });
  }
  return p;
}

}  // namespace hallkorb::szenen
