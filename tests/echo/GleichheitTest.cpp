// The fast echo path against its literal form: the same output, to one step of 16 bits, and the
// same counters, on scenes of every kind and with every instruction set.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <random>

#include "echo/EchoStrecke.h"
#include "tests/echo/Befehlssaetze.h"
#include "tests/echo/Lauf.h"
#include "tests/echo/referenz/EchoStrecke.h"
#include "tests/echo/szenen/Szene.h"

namespace hallkorb {
namespace {

using Schnitte = std::vector<std::pair<bool, std::size_t>>;  // reference?, samples

// The literal result, computed once for all instruction sets.
const Ergebnisse& woertlich(const szenen::Szene& szene, bool nachfilter) {
  static std::map<std::pair<std::string, bool>, Ergebnisse> bekannt;
  auto& e = bekannt[{szene.vorgabe.name, nachfilter}];
  if (e.statistik.empty()) {
    referenz::EchoStrecke strecke(20);
    strecke.nachfilter(nachfilter);
    e = lauf(strecke, szene.mikro, szene.referenz);
  }
  return e;
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
      vergleiche(lauf(strecke, szene.mikro, szene.referenz), woertlich(szene, nachfilter));
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

// Everything that a live recording may do to the order of arrival, and both paths must agree on
// what it leads to: late, missing, short references included.
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

// Damaged samples: what becomes of filters, counters and flags is decided by comparisons that fail.
TEST_P(Gleichheit, WithSamplesThatAreNoNumbers) {
  const szenen::Szene heil = szenen::szene(
      {.name = "kaputt", .sekunden = 7.0, .fern = {{0.0, 7.0}}, .nah = {{1.0, 3.0}}, .saat = 31});
  constexpr float NICHTS = std::numeric_limits<float>::quiet_NaN();
  for (const bool imMikro : {true, false}) {
    for (const std::size_t stelle : {std::size_t{0}, std::size_t{40000}, std::size_t{80255}}) {
      SCOPED_TRACE((imMikro ? "microphone " : "reference ") + std::to_string(stelle));
      szenen::Szene szene = heil;
      (imMikro ? szene.mikro : szene.referenz)[stelle] = NICHTS;
      EchoStrecke schnell(20);
      referenz::EchoStrecke wort(20);
      const Ergebnisse a = lauf(schnell, szene.mikro, szene.referenz);
      const Ergebnisse b = lauf(wort, szene.mikro, szene.referenz);
      EXPECT_EQ(a.statistik, b.statistik);
      EXPECT_EQ(a.sprache, b.sprache);
      ASSERT_EQ(a.samples.size(), b.samples.size());
      for (std::size_t i = 0; i < a.samples.size(); ++i) {
        // A damaged sample may itself come out where the raw block stands in.
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

}  // namespace
}  // namespace hallkorb
