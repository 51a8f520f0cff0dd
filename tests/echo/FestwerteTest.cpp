// The echo path's results as kept figures: the same on every processor, to the last sample of 16
// bits.
//
// The comparison with the literal form (GleichheitTest.cpp) would not see a processor, a compiler
// or a library on which both are wrong in the same way. The inputs are integers from a generator
// that the language defines, so they too are the same everywhere. They do not depend on last bits
// either: noise of 1e-11 in each of the literal form's transforms changes none of the figures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "echo/EchoStrecke.h"
#include "tests/echo/Befehlssaetze.h"
#include "tests/echo/Lauf.h"
#include "tests/oracles/echo/EchoStrecke.h"

namespace hallkorb {
namespace {

constexpr std::size_t RATE = 16000;

// Noise in syllables of an eighth of a second, every fourth silent, as steps of 16 bits.
std::vector<int> silben(std::size_t n, std::uint64_t saat) {
  std::mt19937_64 zufall(saat);
  std::vector<int> s(n);
  int vorher = 0;
  int staerke = 0;
  for (std::size_t i = 0; i < n; ++i) {
    if (i % (RATE / 8) == 0)
      staerke = zufall() % 4 == 0 ? 0 : 512 + static_cast<int>(zufall() % 4096);
    const int neu = static_cast<int>(zufall() % 8193) - 4096;
    s[i] = (vorher + neu) / 2 * staerke / 2048;  // darker than white noise, as a voice is
    vorher = neu;
  }
  return s;
}

struct Fall {
  const char* name;
  double sekunden;
  std::pair<double, double> nah;  // when the near end speaks
  std::size_t verzoegerung;       // samples
  std::optional<double> sprung;   // from this second on the delay is 5000 samples
  bool nachfilter;
  const char* statistik;
  std::uint64_t pruefsumme;
};

struct Signale {
  std::vector<float> mikro;
  std::vector<float> referenz;
};

std::vector<float> alsSamples(const std::vector<int>& s) {
  std::vector<float> samples(s.size());
  std::transform(s.begin(), s.end(), samples.begin(),
                 [](int v) { return static_cast<float>(std::clamp(v, -32768, 32767)) / 32768.0F; });
  return samples;
}

Signale signale(const Fall& fall) {
  const auto stelle = [](double sekunden) { return static_cast<std::size_t>(sekunden * RATE); };
  const std::size_t n = stelle(fall.sekunden);
  const std::vector<int> fern = silben(n, 1);
  const std::vector<int> nah = silben(n, 2);
  // Direct sound and reflections: samples after it, strength in 64ths.
  constexpr std::pair<std::size_t, int> RAUM[] = {
      {0, 28}, {37, -13}, {211, 9}, {640, -5}, {1501, 3}};
  std::mt19937_64 zufall(3);
  std::vector<int> mikro(n);
  for (std::size_t i = 0; i < n; ++i) {
    const bool gesprungen = fall.sprung && i >= stelle(*fall.sprung);
    int summe = 0;
    for (const auto& [spaeter, staerke] : RAUM) {
      const std::size_t weg = (gesprungen ? 5000 : fall.verzoegerung) + spaeter;
      if (i >= weg) summe += fern[i - weg] * staerke;
    }
    const bool spricht = i >= stelle(fall.nah.first) && i < stelle(fall.nah.second);
    mikro[i] = summe / 64 + (spricht ? nah[i] : 0) + static_cast<int>(zufall() % 9) - 4;
  }
  return {alsSamples(mikro), alsSamples(fern)};
}

std::uint64_t pruefsumme(const Ergebnisse& e) {
  std::uint64_t summe = 14695981039346656037U;
  for (const float s : e.samples)
    summe = (summe ^ static_cast<std::uint64_t>(kodiert(s) + 32768)) * 1099511628211U;
  for (const bool s : e.sprache)
    summe = (summe ^ static_cast<std::uint64_t>(s)) * 1099511628211U;
  return summe;
}

template <class Strecke>
void pruefe(Strecke& strecke, const Fall& fall, const Signale& s) {
  strecke.nachfilter(fall.nachfilter);
  const Ergebnisse e = lauf(strecke, s.mikro, s.referenz);
  EXPECT_EQ(e.samples.size(), s.mikro.size());
  EXPECT_EQ(e.statistik, fall.statistik);
  EXPECT_EQ(pruefsumme(e), fall.pruefsumme);
}

// clang-format off
const Fall FAELLE[] = {
    {"far end alone", 8.0, {0.0, 0.0}, 900, {}, true,
     R"({"event":"echo","verzoegerung_ms":56.2,"versatz_bloecke":0,"versatz_wechsel":0,"leck":0.0050,"tor_anteil":0.509,"nah_anteil":0.460,"vg_kopien":91,"hg_reset":2,"resets":0,"ohne_referenz":0,"ausfaelle":0,"bloecke":517})",
     13705484729605433534U},
    {"both, near", 10.0, {4.0, 8.0}, 300, {}, true,
     R"({"event":"echo","verzoegerung_ms":18.8,"versatz_bloecke":0,"versatz_wechsel":0,"leck":0.2189,"tor_anteil":0.322,"nah_anteil":0.631,"vg_kopien":82,"hg_reset":5,"resets":0,"ohne_referenz":0,"ausfaelle":0,"bloecke":642})",
     2881566465045244990U},
    {"both, without post-filter", 10.0, {4.0, 8.0}, 1700, {}, false,
     R"({"event":"echo","verzoegerung_ms":106.2,"versatz_bloecke":0,"versatz_wechsel":0,"leck":0.2850,"tor_anteil":0.000,"nah_anteil":0.000,"vg_kopien":96,"hg_reset":8,"resets":0,"ohne_referenz":0,"ausfaelle":0,"bloecke":626})",
     2677755007765590815U},
    {"delay jumps", 14.0, {11.0, 13.0}, 700, 6.0, true,
     R"({"event":"echo","verzoegerung_ms":312.5,"versatz_bloecke":17,"versatz_wechsel":1,"leck":0.4684,"tor_anteil":0.287,"nah_anteil":0.693,"vg_kopien":163,"hg_reset":5,"resets":1,"ohne_referenz":0,"ausfaelle":0,"bloecke":892})",
     15084048354043667602U},
    {"near end alone", 5.0, {1.0, 5.0}, 80000, {}, true,
     R"({"event":"echo","verzoegerung_ms":0.0,"versatz_bloecke":0,"versatz_wechsel":0,"leck":0.9998,"tor_anteil":0.000,"nah_anteil":0.788,"vg_kopien":0,"hg_reset":9,"resets":0,"ohne_referenz":0,"ausfaelle":0,"bloecke":330})",
     7426050566920123452U},
};
// clang-format on

class Festwerte : public JeBefehlssatz {};
HALLKORB_JE_BEFEHLSSATZ(Festwerte);

TEST_P(Festwerte, ComeOutOnEveryProcessor) {
  for (const Fall& fall : FAELLE) {
    SCOPED_TRACE(fall.name);
    EchoStrecke strecke(20);
    pruefe(strecke, fall, signale(fall));
  }
}

TEST(FestwerteWort, AreThoseOfTheLiteralFormDespiteNoiseInTheTransforms) {
  for (const Fall& fall : FAELLE) {
    SCOPED_TRACE(fall.name);
    referenz::EchoStrecke strecke(20, 1e-11);
    pruefe(strecke, fall, signale(fall));
  }
}

}  // namespace
}  // namespace hallkorb
