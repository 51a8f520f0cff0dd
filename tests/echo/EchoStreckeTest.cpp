#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "echo/EchoStrecke.h"
#include "tests/echo/Einblick.h"
#include "tests/echo/Lauf.h"
#include "tests/echo/scenes/Szene.h"
#include "tests/oracles/echo/EchoStrecke.h"

namespace hallkorb {
namespace {

using Samples = std::vector<float>;

Samples rauschen(std::size_t n, double pegel, std::uint64_t saat) {
  std::mt19937_64 zufall(saat);
  std::normal_distribution<double> normal(0.0, pegel);
  Samples s(n);
  for (float& v : s)
    v = static_cast<float>(std::clamp(normal(zufall), -1.0, 1.0));
  return s;
}

// Delayed by `um` from sample `ab` on.
void verzoegere(const Samples& x, std::size_t um, std::size_t ab, Samples& y) {
  for (std::size_t i = ab; i < y.size(); ++i)
    y[i] = i >= um ? x[i - um] : 0.0F;
}

TEST(EchoStrecke, StatesNothingButZerosAtFirst) {
  EXPECT_EQ(EchoStrecke(20).statistik(),
            "{\"event\":\"echo\",\"verzoegerung_ms\":0.0,\"versatz_bloecke\":0,"
            "\"versatz_wechsel\":0,\"leck\":0.0000,\"tor_anteil\":0.000,\"nah_anteil\":0.000,"
            "\"vg_kopien\":0,\"hg_reset\":0,\"resets\":0,\"ohne_referenz\":0,\"ausfaelle\":0,"
            "\"bloecke\":0}");
}

// The receiver of the output needs exact arithmetic: a muted microphone leaves samples whose
// squares are denormal.
TEST(EchoStrecke, HandsOutSamplesInTheCallersArithmetic) {
  EchoStrecke strecke(4);
  const Samples s = rauschen(20000, 0.1, 1);
  int stuecke = 0;
  strecke.ausgabe = [&](std::span<const float>, const std::vector<bool>&) {
    const volatile float klein = 1e-30F;
    EXPECT_GT(klein * 1e-10F, 0.0F);
    ++stuecke;
  };
  strecke.referenz(s);
  strecke.mikro(s);
  strecke.abschliessen();
  EXPECT_GT(stuecke, 0);
}

TEST(EchoStrecke, PutsOutExactlyAsMuchAsTheMicrophoneHeld) {
  for (const bool nachfilter : {true, false}) {
    for (const std::size_t laenge : {0U, 1U, 255U, 256U, 257U, 4351U, 4352U, 4353U, 20000U}) {
      EchoStrecke strecke(4);
      strecke.nachfilter(nachfilter);
      const Samples s = rauschen(laenge, 0.1, 1);
      const Ergebnisse e = lauf(strecke, s, s, 1000);
      EXPECT_EQ(e.samples.size(), laenge) << nachfilter;
      EXPECT_EQ(e.sprache.size(), laenge) << nachfilter;
      const std::int64_t voll = static_cast<std::int64_t>((laenge + 255) / 256);
      EXPECT_EQ(strecke.kompensation().bloecke(), voll + (nachfilter ? 17 : 1));
    }
  }
}

TEST(EchoStrecke, DiscardsTheFirst4352SamplesWithThePostFilterOnly) {
  for (const bool nachfilter : {true, false}) {
    EchoStrecke strecke(4);
    strecke.nachfilter(nachfilter);
    Ergebnisse e;
    sammle(strecke, e);
    const Samples s = rauschen(20 * 256, 0.1, 2);
    strecke.referenz(s);
    std::size_t gegeben = 0;
    for (std::size_t b = 0; b < 20; ++b) {
      strecke.mikro({s.data() + b * 256, 256});
      gegeben += 256;
      const std::size_t spaet = nachfilter ? 4352 : 0;
      EXPECT_EQ(e.samples.size(), gegeben > spaet ? gegeben - spaet : 0);
    }
  }
}

TEST(EchoStrecke, StaysInStepWithTheMicrophone) {
  // A loud near end alone: what comes out lies where it went in.
  Samples mic = rauschen(30000, 0.0, 3);
  const Samples stimme = rauschen(8000, 0.2, 4);
  std::copy(stimme.begin(), stimme.end(), mic.begin() + 12345);
  EchoStrecke strecke(20);
  const Ergebnisse e = lauf(strecke, mic, Samples(mic.size(), 0.0F));
  std::ptrdiff_t bester = 0;
  double hoechster = 0.0;
  for (std::ptrdiff_t um = -600; um <= 600; ++um) {
    double summe = 0.0;
    for (std::ptrdiff_t i = 12500; i < 20000; ++i) {
      summe += static_cast<double>(mic[static_cast<std::size_t>(i)]) *
               static_cast<double>(e.samples[static_cast<std::size_t>(i + um)]);
    }
    if (summe > hoechster) {
      hoechster = summe;
      bester = um;
    }
  }
  EXPECT_EQ(bester, 0);
  EXPECT_TRUE(e.sprache[16000]);
}

TEST(EchoStrecke, WaitsForTheReferenceUntilTheMicrophoneIs8000SamplesAhead) {
  EchoStrecke strecke(4);
  const Samples s = rauschen(9000, 0.1, 5);
  strecke.mikro({s.data(), 7999});
  EXPECT_EQ(strecke.kompensation().bloecke(), 0);
  EXPECT_EQ(strecke.ohneReferenz(), 0);
  strecke.mikro({s.data() + 7999, 1});
  EXPECT_EQ(strecke.kompensation().bloecke(), 31);
  EXPECT_EQ(strecke.ohneReferenz(), 31);
  // From here on every block is processed at once, as long as the reference stays away.
  strecke.mikro({s.data() + 8000, 1000});
  EXPECT_EQ(strecke.kompensation().bloecke(), 35);
  EXPECT_EQ(strecke.ohneReferenz(), 35);
}

TEST(EchoStrecke, GoesOnAsSoonAsTheReferenceHasCaughtUp) {
  EchoStrecke strecke(4);
  const Samples s = rauschen(1024, 0.1, 6);
  strecke.mikro(s);
  strecke.referenz({s.data(), 255});
  EXPECT_EQ(strecke.kompensation().bloecke(), 0);
  strecke.referenz({s.data() + 255, 1});
  EXPECT_EQ(strecke.kompensation().bloecke(), 1);
  strecke.referenz({s.data() + 256, 768});
  EXPECT_EQ(strecke.kompensation().bloecke(), 4);
  EXPECT_EQ(strecke.ohneReferenz(), 0);
}

TEST(EchoStrecke, CountsBlocksForcedThroughAtTheEndButNoPaddingAsWithoutReference) {
  EchoStrecke strecke(4);
  const Samples s = rauschen(1000, 0.1, 7);
  strecke.mikro(s);
  strecke.referenz({s.data(), 300});
  EXPECT_EQ(strecke.kompensation().bloecke(), 1);
  strecke.abschliessen();
  // Three whole blocks, one with only the beginning of a reference, one padded, 17 to empty the
  // canceller.
  EXPECT_EQ(strecke.ohneReferenz(), 2);
  EXPECT_EQ(strecke.kompensation().bloecke(), 3 + 1 + 17);
}

TEST(EchoStrecke, IgnoresWhatComesAfterTheEnd) {
  EchoStrecke strecke(4);
  Ergebnisse e;
  sammle(strecke, e);
  const Samples s = rauschen(5000, 0.1, 8);
  strecke.referenz(s);
  strecke.mikro(s);
  EXPECT_FALSE(strecke.beendet());
  strecke.abschliessen();
  EXPECT_TRUE(strecke.beendet());
  const std::string vorher = strecke.statistik();
  strecke.referenz(s);
  strecke.mikro(s);
  strecke.abschliessen();
  EXPECT_EQ(strecke.statistik(), vorher);
  EXPECT_EQ(e.samples.size(), 5000U);
}

// 3000 samples are more than eight blocks: (3000 - 768) / 256 = 8.72 is rounded to 9. The rest,
// 696, is between half a block and eight blocks; so is 896 of 3200, which changes nothing.
TEST(EchoStrecke, AlignsTheReferenceByWholeBlocksAndKeepsAnAlignmentThatFits) {
  const Samples ref = rauschen(20 * 16000, 0.1, 9);
  Samples mic(ref.size());
  verzoegere(ref, 3000, 0, mic);
  verzoegere(ref, 3200, 6 * 16000, mic);
  EchoStrecke strecke(20);
  strecke.referenz({ref.data(), 6 * 16000});
  strecke.mikro({mic.data(), 6 * 16000});
  EXPECT_EQ(strecke.delay(), 3000);
  EXPECT_EQ(strecke.versatz(), 9);
  EXPECT_EQ(strecke.versatzWechsel(), 1);
  lauf(strecke, std::span(mic).subspan(6 * 16000), std::span(ref).subspan(6 * 16000));
  EXPECT_EQ(strecke.delay(), 3200);
  EXPECT_EQ(strecke.versatz(), 9);
  EXPECT_EQ(strecke.versatzWechsel(), 1);
}

TEST(EchoStrecke, GivesAnAlignmentUpWhenTheEchoComesEarlier) {
  const Samples ref = rauschen(14 * 16000, 0.1, 10);
  Samples mic(ref.size());
  verzoegere(ref, 3000, 0, mic);
  verzoegere(ref, 300, 6 * 16000, mic);
  EchoStrecke strecke(20);
  lauf(strecke, mic, ref);
  EXPECT_EQ(strecke.delay(), 300);
  EXPECT_EQ(strecke.versatz(), 0);
  EXPECT_EQ(strecke.versatzWechsel(), 2);
}

// 2048 samples are still within the first eight blocks.
TEST(EchoStrecke, NeedsNoAlignmentUpToEightBlocks) {
  for (const auto& [um, versatz] : {std::pair{2048U, 0}, std::pair{2049U, 5}}) {
    const Samples ref = rauschen(5 * 16000, 0.1, 11);
    Samples mic(ref.size());
    verzoegere(ref, um, 0, mic);
    EchoStrecke strecke(20);
    lauf(strecke, mic, ref);
    EXPECT_EQ(strecke.delay(), um);
    EXPECT_EQ(strecke.versatz(), versatz);
  }
}

// The reported delay in samples; the alignment in blocks before and after it.
struct Ausrichtung {
  std::int64_t D;
  std::int64_t vorher;
  std::int64_t nachher;
};

// A path without audio, aligned by `versatz` blocks, with the echo three blocks into the filter.
void richteAus(EchoStrecke& strecke, std::int64_t versatz) {
  if (versatz > 0) EchoStreckeEinblick{strecke}.ausrichten((versatz + 3) * 256, 0);
  ASSERT_EQ(strecke.versatz(), versatz);
}

void pruefe(const Ausrichtung& a) {
  SCOPED_TRACE(std::to_string(a.D) + " with " + std::to_string(a.vorher));
  EchoStrecke strecke(8);
  richteAus(strecke, a.vorher);
  const std::int64_t wechsel = strecke.versatzWechsel();
  EchoStreckeEinblick{strecke}.ausrichten(a.D, 1);
  EXPECT_EQ(strecke.delay(), a.D);
  EXPECT_EQ(strecke.versatz(), a.nachher);
  EXPECT_EQ(strecke.versatzWechsel() - wechsel, a.nachher == a.vorher ? 0 : 1);
}

TEST(EchoStrecke, KeepsAnAlignmentFromHalfABlockToEightBlocksAndMovesItOtherwise) {
  for (const Ausrichtung& a : {
           Ausrichtung{0, 0, 0},
           Ausrichtung{127, 0, 0},
           Ausrichtung{2048, 0, 0},
           Ausrichtung{2049, 0, 5},
           Ausrichtung{3000, 0, 9},
           // Nine blocks are 2304 samples; half a block is 128, eight blocks are 2048.
           Ausrichtung{3100, 9, 9},
           Ausrichtung{2304 + 128, 9, 9},
           Ausrichtung{2304 + 127, 9, 6},
           Ausrichtung{2304 + 2048, 9, 9},
           Ausrichtung{2304 + 2049, 9, 14},
           Ausrichtung{2304, 9, 6},
           Ausrichtung{2303, 9, 6},
           Ausrichtung{1000, 9, 1},
           Ausrichtung{700, 9, 0},
           Ausrichtung{0, 9, 0},
           Ausrichtung{12800, 9, 47},
       }) {
    pruefe(a);
  }
}

// 2688 samples make 7.5 blocks, 2944 make 8.5, 3200 make 9.5.
TEST(EchoStrecke, RoundsHalvesOfABlockToTheEvenOne) {
  for (const Ausrichtung& a : {
           Ausrichtung{2687, 0, 7},
           Ausrichtung{2688, 0, 8},
           Ausrichtung{2944, 0, 8},
           Ausrichtung{2945, 0, 9},
           Ausrichtung{3199, 0, 9},
           Ausrichtung{3200, 0, 10},
           Ausrichtung{896, 9, 0},
           Ausrichtung{897, 9, 1},
       }) {
    pruefe(a);
  }
}

TEST(EchoStrecke, ReplacesADamagedBlockByTheRawOneBeforeIt) {
  constexpr float NICHTS = std::numeric_limits<float>::quiet_NaN();
  constexpr float UNENDLICH = std::numeric_limits<float>::infinity();
  // An infinity in a block's last sample has no time to become a NaN.
  for (const auto& [wert, stelle] :
       {std::pair{NICHTS, 7U}, std::pair{UNENDLICH, 255U}, std::pair{-UNENDLICH, 255U}}) {
    SCOPED_TRACE(wert);
    Samples mic = rauschen(40 * 256, 0.1, 12);
    mic[10 * 256 + stelle] = wert;
    EchoStrecke strecke(4);
    strecke.nachfilter(false);
    const Ergebnisse e = lauf(strecke, mic, Samples(mic.size(), 0.0F), 256);
    // The notch filter never forgets it, so from here on the raw microphone passes, a block late.
    EXPECT_EQ(strecke.ausfaelle(), 31);
    EXPECT_EQ(strecke.kompensation().resets(), 31);
    for (std::size_t i = 10 * 256; i < 40 * 256; ++i) {
      if (i != 11 * 256 + stelle) {
        ASSERT_EQ(e.samples[i], mic[i - 256]) << i;
      } else if (std::isnan(wert)) {
        EXPECT_TRUE(std::isnan(e.samples[i]));
      } else {
        EXPECT_EQ(e.samples[i], std::copysign(1.0F, wert));
      }
      ASSERT_TRUE(e.sprache[i]);
    }
  }
}

TEST(EchoStrecke, KeepsItsOutputWithinFullScale) {
  // Beyond full scale in the microphone, as a float device may deliver it.
  Samples mic = rauschen(30000, 1.0, 13);
  for (float& v : mic)
    v *= 4.0F;
  EchoStrecke strecke(4);
  strecke.nachfilter(false);
  const Ergebnisse e = lauf(strecke, mic, Samples(mic.size(), 0.0F));
  const auto [kleinster, groesster] = std::minmax_element(e.samples.begin(), e.samples.end());
  EXPECT_EQ(*kleinster, -1.0F);
  EXPECT_EQ(*groesster, 1.0F);
}

TEST(EchoStrecke, SurvivesAReferenceThatIsMinutesAheadOrBehind) {
  const Samples ref = rauschen(100 * 16000, 0.1, 14);
  const Samples mic = rauschen(100 * 16000, 0.1, 15);
  {
    // All of the reference first: only its last half minute is kept.
    EchoStrecke strecke(2);
    Ergebnisse e;
    sammle(strecke, e);
    strecke.referenz(ref);
    strecke.mikro(mic);
    strecke.abschliessen();
    EXPECT_EQ(e.samples.size(), mic.size());
    EXPECT_EQ(strecke.ohneReferenz(), 0);
  }
  {
    EchoStrecke strecke(2);
    Ergebnisse e;
    sammle(strecke, e);
    strecke.mikro(mic);
    strecke.referenz(ref);
    strecke.abschliessen();
    EXPECT_EQ(e.samples.size(), mic.size());
    EXPECT_EQ(strecke.ohneReferenz(), 6250);
  }
}

void vergleicheGehaltenes(EchoStrecke& schnell, const referenz::EchoStrecke& wort) {
  const EchoStreckeEinblick innen{schnell};
  ASSERT_EQ(innen.refBasis(), wort.refBasis);
  ASSERT_TRUE(std::ranges::equal(innen.refRoh(), wort.refRoh));
  ASSERT_TRUE(std::ranges::equal(innen.refPre(), wort.refPre));
}

// A microphone that delivers nothing must not fill the memory: of more than 60 seconds of reference
// the newest 30 stay.
TEST(EchoStrecke, HoldsAMinuteOfReferenceAtMostAndThenTheNewestHalf) {
  const Samples ref = rauschen(970000, 0.1, 16);
  const auto gehalten = [](EchoStrecke& strecke) {
    return EchoStreckeEinblick{strecke}.refRoh().size();
  };
  {
    EchoStrecke schnell(1);
    referenz::EchoStrecke wort(1);
    std::size_t stelle = 0;
    const auto dazu = [&](std::size_t anzahl) {
      const std::span<const float> stueck(ref.data() + stelle, anzahl);
      stelle += anzahl;
      schnell.referenz(stueck);
      wort.referenz(stueck);
      vergleicheGehaltenes(schnell, wort);
    };
    dazu(959999);
    EXPECT_EQ(gehalten(schnell), 959999U);
    dazu(1);
    EXPECT_EQ(gehalten(schnell), 960000U);
    EXPECT_EQ(EchoStreckeEinblick{schnell}.refBasis(), 0);
    dazu(1);
    EXPECT_EQ(gehalten(schnell), 480000U);
    EXPECT_EQ(EchoStreckeEinblick{schnell}.refBasis(), 480001);
    dazu(2000);
    EXPECT_EQ(gehalten(schnell), 482000U);

    // The microphone comes, up to where the reference is held again and a little further.
    const Samples mic = rauschen(500000, 0.1, 17);
    Ergebnisse a;
    Ergebnisse b;
    sammle(schnell, a);
    sammle(wort, b);
    for (std::size_t ab = 0; ab < mic.size(); ab += 4000) {
      schnell.mikro({mic.data() + ab, 4000});
      wort.mikro({mic.data() + ab, 4000});
      vergleicheGehaltenes(schnell, wort);
    }
    // Everything more than a second before what the filter may need is gone.
    EXPECT_GT(EchoStreckeEinblick{schnell}.refBasis(), 480001);
    EXPECT_EQ(schnell.statistik(), wort.statistik());
    EXPECT_EQ(a.sprache, b.sprache);
    EXPECT_LE(abweichung(a.samples, b.samples), 1);
    EXPECT_GT(a.samples.size(), 490000U);
  }
  {
    EchoStrecke strecke(1);
    strecke.referenz({ref.data(), 970000});
    EXPECT_EQ(gehalten(strecke), 480000U);
    EXPECT_EQ(EchoStreckeEinblick{strecke}.refBasis(), 490000);
    EXPECT_EQ(EchoStreckeEinblick{strecke}.refRoh().back(),
              static_cast<double>(ref.back()) * 32768.0);
  }
}

// Both streams may be cut in any way, as long as the reference is never so late that a block has to
// do without it.
TEST(EchoStrecke, DoesNotDependOnHowTheStreamsAreCut) {
  const szenen::Szene szene = szenen::szene({.name = "schnitte",
                                             .sekunden = 8.0,
                                             .fern = {{0.0, 8.0}},
                                             .nah = {{4.0, 6.0}},
                                             .verzoegerungMs = 90.0,
                                             .saat = 41});
  EchoStrecke ganz(20);
  const Ergebnisse soll = lauf(ganz, szene.mikro, szene.referenz, szene.mikro.size());
  for (std::uint64_t saat = 1; saat <= 40; ++saat) {
    std::mt19937_64 zufall(saat);
    EchoStrecke strecke(20);
    Ergebnisse e;
    sammle(strecke, e);
    const std::size_t groesstes = 1 + zufall() % 7000;
    std::size_t r = 0;
    std::size_t m = 0;
    while (r < szene.referenz.size() || m < szene.mikro.size()) {
      const std::size_t laenge = zufall() % (groesstes + 1);
      // The microphone leads by less than 8000 samples.
      const bool istReferenz =
          m == szene.mikro.size() ||
          (r < szene.referenz.size() && (m + laenge >= r + 8000 || zufall() % 2 == 0));
      const std::vector<float>& strom = istReferenz ? szene.referenz : szene.mikro;
      std::size_t& stelle = istReferenz ? r : m;
      const std::span<const float> stueck(strom.data() + stelle,
                                          std::min(laenge, strom.size() - stelle));
      stelle += stueck.size();
      if (istReferenz) {
        strecke.referenz(stueck);
      } else {
        strecke.mikro(stueck);
      }
    }
    strecke.abschliessen();
    ASSERT_EQ(e.samples, soll.samples) << saat;
    ASSERT_EQ(e.sprache, soll.sprache) << saat;
    ASSERT_EQ(strecke.statistik(), soll.statistik) << saat;
  }
}

}  // namespace
}  // namespace hallkorb
