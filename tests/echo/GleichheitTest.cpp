// The fast echo path against its literal form: the same output, to one step of 16 bits, and the
// same counters, on scenes of every kind and with every instruction set.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "echo/EchoStrecke.h"
#include "tests/echo/Befehlssaetze.h"
#include "tests/echo/Einblick.h"
#include "tests/echo/Lauf.h"
#include "tests/echo/scenes/Bewertung.h"
#include "tests/echo/scenes/Stimmen.h"
#include "tests/echo/scenes/Szene.h"
#include "tests/oracles/echo/EchoStrecke.h"

namespace hallkorb {
namespace {

// The literal result, computed once for all instruction sets. `name` is unique among all tests.
template <class Rechnung>
const auto* einmal(const std::string& name, Rechnung rechnung) {
  static std::map<std::string, decltype(rechnung())> bekannt;
  auto stelle = bekannt.find(name);
  if (stelle == bekannt.end()) stelle = bekannt.emplace(name, rechnung()).first;
  return &stelle->second;
}

void vergleiche(const Ergebnisse& schnell, const Ergebnisse& wort) {
  EXPECT_EQ(schnell.statistik, wort.statistik);
  EXPECT_EQ(schnell.sprache, wort.sprache);
  const int a = abweichung(schnell.samples, wort.samples);
  EXPECT_GE(a, 0) << schnell.samples.size() << " and " << wort.samples.size() << " samples";
  EXPECT_LE(a, 1);
}

class Gleichheit : public JeBefehlssatz {};
HALLKORB_JE_BEFEHLSSATZ(Gleichheit);

TEST_P(Gleichheit, OnEveryKindOfScene) {
  for (const szenen::Vorgabe& vorgabe : szenen::kurzePlaene()) {
    const szenen::Szene szene = szenen::szene(vorgabe);
    for (const bool nachfilter : {true, false}) {
      SCOPED_TRACE(vorgabe.name + (nachfilter ? "" : " without post-filter"));
      EchoStrecke strecke(20);
      strecke.nachfilter(nachfilter);
      const Ergebnisse& soll = *einmal(vorgabe.name + (nachfilter ? "" : "!"), [&] {
        referenz::EchoStrecke wort(20);
        wort.nachfilter(nachfilter);
        return lauf(wort, szene.mikro, szene.referenz);
      });
      vergleiche(lauf(strecke, szene.mikro, szene.referenz), soll);
    }
  }
}

TEST_P(Gleichheit, WithFewAndWithManyPartitions) {
  const szenen::Szene szene =
      szenen::szene({.name = "kurz", .sekunden = 6.0, .fern = {{0.0, 6.0}}, .nah = {{3.0, 5.0}}});
  for (const std::int64_t P : {1, 2, 3, 8, 33}) {
    SCOPED_TRACE(P);
    EchoStrecke schnell(P);
    referenz::EchoStrecke wort(P);
    vergleiche(lauf(schnell, szene.mikro, szene.referenz), lauf(wort, szene.mikro, szene.referenz));
  }
}

// Whatever the order in which a live recording's samples arrive (a late, missing or short reference
// included), both paths must agree on the result.
TEST_P(Gleichheit, WithAnyOrderOfArrival) {
  const szenen::Szene szene = szenen::szene({.name = "ankunft",
                                             .sekunden = 9.0,
                                             .fern = {{0.0, 9.0}},
                                             .nah = {{5.0, 7.0}},
                                             .verzoegerungMs = 250.0,
                                             .saat = 21});
  for (std::uint64_t saat = 1; saat <= 6; ++saat) {
    SCOPED_TRACE(saat);
    std::mt19937_64 zufall(saat);
    EchoStrecke schnell(20);
    referenz::EchoStrecke wort(20);
    Ergebnisse a;
    Ergebnisse b;
    sammle(schnell, a);
    sammle(wort, b);
    const std::size_t groesstes = std::size_t{1} << (6 + 2 * saat);
    const std::size_t refEnde = saat % 3 == 0 ? szene.referenz.size() / 2 : szene.referenz.size();
    // With an even seed the reference starts a second late.
    std::size_t r = 0;
    std::size_t m = 0;
    while (r < refEnde || m < szene.mikro.size()) {
      const bool spaet = saat % 2 == 0 && m < 16000;
      const bool istReferenz = m >= szene.mikro.size() || (r < refEnde && !spaet && zufall() % 2);
      std::size_t& stelle = istReferenz ? r : m;
      const std::span<const float> strom = istReferenz ? szene.referenz : szene.mikro;
      const std::size_t ende = istReferenz ? refEnde : strom.size();
      const std::span<const float> stueck =
          strom.subspan(stelle, std::min<std::size_t>(zufall() % groesstes, ende - stelle));
      stelle += stueck.size();
      if (istReferenz) {
        schnell.referenz(stueck);
        wort.referenz(stueck);
      } else {
        schnell.mikro(stueck);
        wort.mikro(stueck);
      }
      ASSERT_EQ(a.samples.size(), b.samples.size());
    }
    schnell.abschliessen();
    wort.abschliessen();
    a.statistik = schnell.statistik();
    b.statistik = wort.statistik();
    vergleiche(a, b);
    EXPECT_EQ(a.samples.size(), szene.mikro.size());
  }
}

// A recording whose reference comes late, stays away or falls behind: the seconds of it that have
// come by the microphone's second t.
struct Ankunft {
  std::string name;
  std::function<double(double)> referenz;
};

const std::vector<Ankunft>& ankuenfte() {
  static const std::vector<Ankunft> alle{
      {"starts 2 s late", [](double t) { return t < 2.0 ? 0.0 : t; }},
      {"starts 10 s late", [](double t) { return t < 10.0 ? 0.0 : t; }},
      {"always 2 s behind", [](double t) { return std::max(t - 2.0, 0.0); }},
      {"always 10 s behind", [](double t) { return std::max(t - 10.0, 0.0); }},
      {"missing from 5 to 8 s", [](double t) { return t > 5.0 && t < 8.0 ? 5.0 : t; }},
      {"3 s behind from 5 s on", [](double t) { return std::clamp(t - 3.0, std::min(t, 5.0), t); }},
      {"ends after 5 s", [](double t) { return std::min(t, 5.0); }},
  };
  return alle;
}

// The output, and what was held of the reference on the way (its first sample, its length).
struct Gehaltenes {
  Ergebnisse e;
  std::vector<std::pair<std::int64_t, std::size_t>> referenz;
};

std::pair<std::int64_t, std::size_t> gehalten(EchoStrecke& strecke) {
  const EchoStreckeEinblick innen{strecke};
  return {innen.refBasis(), innen.refRoh().size()};
}

std::pair<std::int64_t, std::size_t> gehalten(const referenz::EchoStrecke& strecke) {
  return {strecke.refBasis, strecke.refRoh.size()};
}

template <class Strecke>
Gehaltenes laufMit(Strecke& strecke, const szenen::Szene& szene, const Ankunft& ankunft) {
  Gehaltenes g;
  sammle(strecke, g.e);
  const auto proben = [](double t) { return static_cast<std::size_t>(std::lround(t * 16000.0)); };
  std::size_t m = 0;
  std::size_t r = 0;
  for (int zehntel = 1; m < szene.mikro.size(); ++zehntel) {
    const double t = zehntel / 10.0;
    const std::size_t bisR = std::min(proben(ankunft.referenz(t)), szene.referenz.size());
    const std::size_t bisM = std::min(proben(t), szene.mikro.size());
    strecke.referenz(std::span(szene.referenz).subspan(r, bisR - r));
    strecke.mikro(std::span(szene.mikro).subspan(m, bisM - m));
    g.referenz.push_back(gehalten(strecke));
    r = bisR;
    m = bisM;
  }
  strecke.abschliessen();
  g.e.statistik = strecke.statistik();
  strecke.ausgabe = nullptr;
  return g;
}

TEST_P(Gleichheit, WithAReferenceThatIsLateOrMissing) {
  const szenen::Szene szene = szenen::szene({.name = "spaete referenz",
                                             .sekunden = 16.0,
                                             .fern = {{0.0, 16.0}},
                                             .nah = {{11.0, 13.0}},
                                             .verzoegerungMs = 200.0,
                                             .saat = 22});
  for (const Ankunft& ankunft : ankuenfte()) {
    SCOPED_TRACE(ankunft.name);
    EchoStrecke schnell(20);
    const Gehaltenes ist = laufMit(schnell, szene, ankunft);
    const Gehaltenes& soll = *einmal(ankunft.name, [&] {
      referenz::EchoStrecke wort(20);
      return laufMit(wort, szene, ankunft);
    });
    vergleiche(ist.e, soll.e);
    EXPECT_EQ(ist.referenz, soll.referenz);
    EXPECT_EQ(ist.e.samples.size(), szene.mikro.size());
    EXPECT_GT(schnell.ohneReferenz(), 0);
    EXPECT_LT(schnell.ohneReferenz(), 1001);
  }
}

// Damaged samples: comparisons that fail decide what becomes of filters, counters and flags.
TEST_P(Gleichheit, WithSamplesThatAreNoNumbers) {
  const szenen::Szene heil = szenen::szene(
      {.name = "kaputt", .sekunden = 7.0, .fern = {{0.0, 7.0}}, .nah = {{1.0, 3.0}}, .saat = 31});
  constexpr float NICHTS = std::numeric_limits<float>::quiet_NaN();
  constexpr float UNENDLICH = std::numeric_limits<float>::infinity();
  for (const auto& [wert, stelle] : {
           std::pair{NICHTS, std::size_t{0}},
           std::pair{NICHTS, std::size_t{40000}},
           std::pair{NICHTS, std::size_t{80255}},
           std::pair{UNENDLICH, std::size_t{40191}},
           std::pair{-UNENDLICH, std::size_t{40192}},
       }) {
    for (const bool imMikro : {true, false}) {
      const std::string name = std::to_string(wert) + (imMikro ? " microphone " : " reference ") +
                               std::to_string(stelle);
      SCOPED_TRACE(name);
      szenen::Szene szene = heil;
      (imMikro ? szene.mikro : szene.referenz)[stelle] = wert;
      EchoStrecke schnell(20);
      const Ergebnisse a = lauf(schnell, szene.mikro, szene.referenz);
      const Ergebnisse& b = *einmal(name, [&] {
        referenz::EchoStrecke wort(20);
        return lauf(wort, szene.mikro, szene.referenz);
      });
      EXPECT_EQ(a.statistik, b.statistik);
      EXPECT_EQ(a.sprache, b.sprache);
      ASSERT_EQ(a.samples.size(), b.samples.size());
      for (std::size_t i = 0; i < a.samples.size(); ++i) {
        // A damaged sample may itself come out in a block that the raw microphone stands in for.
        ASSERT_EQ(std::isnan(a.samples[i]), std::isnan(b.samples[i])) << i;
        if (std::isnan(a.samples[i])) continue;
        ASSERT_LE(std::abs(kodiert(a.samples[i]) - kodiert(b.samples[i])), 1) << i;
      }
    }
  }
}

TEST_P(Gleichheit, InSilence) {
  const std::vector<float> stille(60000, 0.0F);
  EchoStrecke schnell(20);
  referenz::EchoStrecke wort(20);
  const Ergebnisse a = lauf(schnell, stille, stille);
  const Ergebnisse b = lauf(wort, stille, stille);
  vergleiche(a, b);
  EXPECT_EQ(a.samples, stille);
}

// A mute key makes digital zeros, and so does a far end that is not connected. The literal form
// computes exact zeros from them, and ratios of whatever is left decide what the filters do next.
struct Stumm {
  std::string name;
  double sekunden;  // of the whole scene
  std::vector<szenen::Abschnitt> mikro;
  std::vector<szenen::Abschnitt> referenz;
  double echoDb = -6.0;
};

const std::vector<Stumm>& stummschaltungen() {
  static const std::vector<Stumm> alle{
      {"microphone muted for 1 s", 14.0, {{6.0, 7.0}}, {}},
      {"microphone muted for 20 s", 34.0, {{6.0, 26.0}}, {}},
      {"microphone muted from the start", 16.0, {{0.0, 8.0}}, {}},
      {"far end silent for 10 s", 24.0, {}, {{6.0, 16.0}}},
      {"far end silent until the middle", 16.0, {}, {{0.0, 8.0}}},
      {"both in turn", 30.0, {{6.0, 9.0}, {14.0, 17.0}, {22.0, 23.0}}, {{9.0, 12.0}, {16.0, 22.0}}},
      {"a loud echo that stops: filters reset", 20.0, {{6.0, 10.0}}, {}, 6.0},
  };
  return alle;
}

void verstumme(std::vector<float>& signal, const std::vector<szenen::Abschnitt>& wann) {
  for (const auto& [von, bis] : wann) {
    std::fill(signal.begin() + static_cast<std::ptrdiff_t>(von * 16000.0),
              signal.begin() + static_cast<std::ptrdiff_t>(bis * 16000.0), 0.0F);
  }
}

szenen::Szene verstummt(const Stumm& stumm) {
  szenen::Szene szene = szenen::szene({.name = stumm.name,
                                       .sekunden = stumm.sekunden,
                                       .fern = {{0.0, stumm.sekunden}},
                                       .nah = {{3.0, 5.0}, {stumm.sekunden - 4.0, stumm.sekunden}},
                                       .verzoegerungMs = 60.0,
                                       .echoDb = stumm.echoDb,
                                       .saat = 41});
  verstumme(szene.mikro, stumm.mikro);
  verstumme(szene.referenz, stumm.referenz);
  return szene;
}

void vergleicheStumm(const Stumm& stumm) {
  SCOPED_TRACE(stumm.name);
  const szenen::Szene szene = verstummt(stumm);
  EchoStrecke schnell(20);
  const Ergebnisse ist = lauf(schnell, szene.mikro, szene.referenz);
  vergleiche(ist, *einmal(stumm.name, [&] {
               referenz::EchoStrecke wort(20);
               return lauf(wort, szene.mikro, szene.referenz);
             }));
  if (stumm.echoDb > 0.0) {
    EXPECT_GT(schnell.kompensation().resets(), 0);
  }
}

TEST_P(Gleichheit, WhenAStreamIsMuted) {
  for (const Stumm& stumm : stummschaltungen())
    vergleicheStumm(stumm);
}

#if !defined(__SANITIZE_ADDRESS__) && defined(__OPTIMIZE__)
TEST_P(Gleichheit, WhenTheMicrophoneIsMutedForTwoMinutes) {
  vergleicheStumm({"microphone muted for 120 s", 140.0, {{10.0, 130.0}}, {}});
}
#endif

// What is heard differs from what is played by 120 dB, either way.
TEST_P(Gleichheit, WithLevels120DecibelsApart) {
  const szenen::Szene szene = szenen::szene(
      {.name = "pegel", .sekunden = 10.0, .fern = {{0.0, 10.0}}, .nah = {{5.0, 7.0}}, .saat = 42});
  for (const bool leisesMikro : {true, false}) {
    const std::string name = leisesMikro ? "faint microphone" : "faint far end";
    SCOPED_TRACE(name);
    szenen::Szene s = szene;
    for (float& wert : leisesMikro ? s.mikro : s.referenz)
      wert *= 1e-6F;
    EchoStrecke schnell(20);
    vergleiche(lauf(schnell, s.mikro, s.referenz), *einmal(name, [&] {
                 referenz::EchoStrecke wort(20);
                 return lauf(wort, s.mikro, s.referenz);
               }));
  }
}

TEST_P(Gleichheit, WithOneSampleOfEitherStreamOrBoth) {
  const std::vector<float> einer{0.5F};
  const std::vector<float> keiner;
  for (const auto& [mikro, referenz] :
       {std::pair{einer, einer}, std::pair{einer, keiner}, std::pair{keiner, einer}}) {
    EchoStrecke schnell(20);
    referenz::EchoStrecke wort(20);
    const Ergebnisse ist = lauf(schnell, mikro, referenz);
    vergleiche(ist, lauf(wort, mikro, referenz));
    EXPECT_EQ(ist.samples.size(), mikro.size());
  }
}

constexpr std::size_t GESPROCHENE = 21;

// The sanitizers' builds, the unoptimised ones and those for an emulator take every fifth scene;
// with HALLKORB_LANG=1 they take each.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__OPTIMIZE__) || \
    defined(HALLKORB_EMULIERT)
std::size_t schritt() {
  return std::getenv("HALLKORB_LANG") != nullptr ? 1 : 5;
}
#else
std::size_t schritt() {
  return 1;
}
#endif

// Each is a test of its own, so that several processes can share them.
class GleichheitGesprochen : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Szene, GleichheitGesprochen,
                         testing::Range(std::size_t{0}, GESPROCHENE, schritt()));

// The scenes that are listened to. If one depended on the last bits of its numbers, the two paths
// could agree only by luck. So noise thousands of times larger than their difference must change
// nothing either.
TEST_P(GleichheitGesprochen, OnASpokenSceneAndDespiteNoiseInTheTransforms) {
  static const szenen::Stimmen stimmen = szenen::stimmen();
  const std::vector<szenen::Vorgabe> plaene = szenen::lange();
  ASSERT_EQ(plaene.size(), GESPROCHENE);
  const szenen::Vorgabe& plan = plaene[GetParam()];
  SCOPED_TRACE(plan.name);
  const szenen::Szene szene = szenen::szene(plan, stimmen.fern, stimmen.nah);
  referenz::EchoStrecke wort(20);
  const Ergebnisse soll = lauf(wort, szene.mikro, szene.referenz);
  EchoStrecke schnell(20);
  vergleiche(lauf(schnell, szene.mikro, szene.referenz), soll);
  SCOPED_TRACE("with noise");
  referenz::EchoStrecke gestoert(20, 1e-11);
  vergleiche(lauf(gestoert, szene.mikro, szene.referenz), soll);
}

}  // namespace
}  // namespace hallkorb
