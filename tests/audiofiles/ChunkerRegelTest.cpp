// The chunker against its plainly written rules, on random signals, settings and blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "base/Text.h"
#include "tests/oracles/ChunkerRegel.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using Zeilen = std::vector<std::string>;
using Los = ChunkerRegel::Los;

struct Einstellung {
  double rate = 1000.0;
  double chunk = 2.0;
  bool rede = false;
  double min = 1.2;
  double max = 4.0;
  double stille = 0.6;
  float silenceRms = 0.006F;
};

std::unique_ptr<ChannelChunker> baue(const Einstellung& e, const TempOrdner& ordner) {
  return std::make_unique<ChannelChunker>(ChunkerEinstellung{.channel = "me",
                                                             .outDir = ordner.pfad(),
                                                             .rate = e.rate,
                                                             .chunkSeconds = e.chunk,
                                                             .turnMode = e.rede,
                                                             .minSeconds = e.min,
                                                             .maxSeconds = e.max,
                                                             .silenceSeconds = e.stille,
                                                             .silenceRms = e.silenceRms});
}

ChunkerRegel regel(const Einstellung& e) {
  const auto zahl = [&](double seconds) { return static_cast<std::int64_t>(e.rate * seconds); };
  return ChunkerRegel({e.rate, zahl(e.chunk), zahl(0.8), e.rede, zahl(e.min), zahl(e.max),
                       zahl(e.stille), e.silenceRms});
}

double zwischen(std::mt19937& zufall, double von, double bis) {
  return std::uniform_real_distribution<double>(von, bis)(zufall);
}

// Speech as a chunker sees it: stretches of noise and of near silence, each of its own level.
std::vector<float> signal(std::mt19937& zufall, std::size_t anzahl, std::size_t hoechstens) {
  std::vector<float> samples;
  while (samples.size() < anzahl) {
    const float pegel = zufall() % 3 == 0   ? 0.0F
                        : zufall() % 2 == 0 ? 0.004F
                                            : static_cast<float>(zwischen(zufall, 0.0, 0.5));
    std::uniform_real_distribution<float> werte(-pegel, pegel);
    for (std::size_t n = zufall() % hoechstens + 1; n > 0; --n)
      samples.push_back(werte(zufall));
  }
  samples.resize(anzahl);
  return samples;
}

std::size_t blockGroesse(std::mt19937& zufall) {
  static constexpr std::size_t GRENZEN[] = {1, 7, 160, 161, 480, 4096, 20000};
  return zufall() % GRENZEN[zufall() % std::size(GRENZEN)] + 1;
}

// Exactly the files and lines that the rules demand are there.
void vergleiche(const ChannelChunker& c, const ChunkerRegel& soll, const TempOrdner& ordner,
                const AusgabeFaenger& ausgabe) {
  Zeilen zeilen;
  std::vector<std::string> namen;
  std::int64_t stumm = 0;
  for (const auto& chunk : soll.chunks) {
    stumm += chunk.los == Los::ohneSprache ? 1 : 0;
    if (chunk.los != Los::geschrieben) continue;
    const auto i = static_cast<std::int64_t>(namen.size());
    const std::string name = formatiert("chunk_me_%03d.wav", static_cast<int>(i));
    EXPECT_EQ(dateiBytes(ordner / name),
              WavBytes::datei(chunk.samples, static_cast<std::uint64_t>(soll.w.rate)));
    zeilen.push_back(soll.zeile(chunk, i, "me", ordner / name));
    namen.push_back(name);
  }
  std::sort(namen.begin(), namen.end());
  EXPECT_EQ(ausgabe.ausgabeZeilen(), zeilen);
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
  EXPECT_EQ(ordner.namen(), namen);
  EXPECT_EQ(c.ohneSprache(), stumm);
  EXPECT_EQ(c.chunkIndex(), static_cast<std::int64_t>(namen.size()));
}

// Every appended sample is in one chunk, in order, or still waits.
void zaehleNach(const ChunkerRegel& soll, const std::vector<float>& samples) {
  std::vector<float> wieder;
  for (const auto& chunk : soll.chunks) {
    EXPECT_EQ(chunk.von, static_cast<std::int64_t>(wieder.size()));
    wieder.insert(wieder.end(), chunk.samples.begin(), chunk.samples.end());
  }
  wieder.insert(wieder.end(), soll.buf.begin(), soll.buf.end());
  EXPECT_EQ(wieder, samples);
}

void spieleDurch(std::mt19937& zufall, const Einstellung& e, bool mitMaske) {
  const TempOrdner ordner;
  const AusgabeFaenger ausgabe;
  const auto c = baue(e, ordner);
  ChunkerRegel soll = regel(e);
  const auto samples = signal(zufall, 40000, static_cast<std::size_t>(2.0 * std::abs(e.rate)) + 1);
  for (std::size_t k = 0; k < samples.size();) {
    const std::size_t n = std::min(blockGroesse(zufall), samples.size() - k);
    const auto block = std::span(samples).subspan(k, n);
    // Masks come and go, and sometimes have a wrong length.
    std::vector<bool> maske(zufall() % 9 == 0 ? n + 1 : n);
    const bool sprache = zufall() % 4 == 0;
    for (std::size_t i = 0; i < maske.size(); ++i)
      maske[i] = sprache || zufall() % 16 == 0;
    const auto* sprachmaske = mitMaske && k > 3000 && zufall() % 5 != 0 ? &maske : nullptr;
    c->append(block, sprachmaske);
    soll.append(block, sprachmaske);
    k += n;
    ASSERT_EQ(c->globalOffset(), soll.globalOffset);
    ASSERT_EQ(c->buf().size(), soll.buf.size());
    ASSERT_EQ(c->maske().size(), soll.maske.size());
    ASSERT_EQ(static_cast<std::size_t>(c->globalOffset()) + c->buf().size(), k);
  }
  zaehleNach(soll, samples);
  c->finalizeRemainder();
  soll.finalizeRemainder();
  zaehleNach(soll, samples);
  EXPECT_EQ(c->globalOffset(), 40000);
  vergleiche(*c, soll, ordner, ausgabe);
}

TEST(ChunkerRegel, FixedModeDoesWhatTheRulesSay) {
  std::mt19937 zufall(1);
  for (int lauf = 0; lauf < 30; ++lauf) {
    Einstellung e;
    e.rate = zwischen(zufall, 200.0, 8000.0);
    e.chunk = lauf % 10 == 0 ? zwischen(zufall, -1.0, 0.5) : zwischen(zufall, 0.5, 6.0);
    spieleDurch(zufall, e, lauf % 2 == 0);
    if (testing::Test::HasFailure()) FAIL() << lauf;
  }
}

TEST(ChunkerRegel, TurnModeDoesWhatTheRulesSay) {
  std::mt19937 zufall(2);
  for (int lauf = 0; lauf < 60; ++lauf) {
    Einstellung e;
    e.rede = true;
    e.rate = zwischen(zufall, 200.0, 8000.0);
    e.min = zwischen(zufall, lauf % 10 == 0 ? -1.0 : 0.1, 2.0);
    e.max = zwischen(zufall, lauf % 15 == 0 ? -1.0 : 0.5, 8.0);
    e.stille = zwischen(zufall, lauf % 12 == 0 ? -0.5 : 0.1, 1.0);
    e.silenceRms = lauf % 7 == 0 ? 0.0F : static_cast<float>(zwischen(zufall, 0.001, 0.1));
    spieleDurch(zufall, e, lauf % 2 == 0);
    if (testing::Test::HasFailure()) FAIL() << lauf;
  }
}

Zeilen zeilenBei(const Einstellung& e, const std::vector<float>& samples, std::size_t block) {
  const TempOrdner ordner;
  const AusgabeFaenger ausgabe;
  const auto c = baue(e, ordner);
  for (std::size_t k = 0; k < samples.size(); k += block) {
    c->append(std::span(samples).subspan(k, std::min(block, samples.size() - k)));
  }
  c->finalizeRemainder();
  Zeilen ergebnis;
  // The folder's name changes from run to run: compare what follows the path.
  for (const std::string& zeile : ausgabe.ausgabeZeilen())
    ergebnis.push_back(zeile.substr(zeile.find("_me_")));
  for (const std::string& name : ordner.namen()) {
    const auto bytes = dateiBytes(ordner / name);
    ergebnis.emplace_back(bytes.begin(), bytes.end());
  }
  return ergebnis;
}

TEST(ChunkerRegel, InFixedModeTheSizeOfBlocksNeverChangesACut) {
  std::mt19937 zufall(3);
  const auto samples = signal(zufall, 30000, 3000);
  const Einstellung e;
  const auto soll = zeilenBei(e, samples, samples.size());
  EXPECT_GT(soll.size(), 10U);
  for (const std::size_t block : {1U, 13U, 159U, 160U, 161U, 1000U, 4097U, 15000U}) {
    EXPECT_EQ(zeilenBei(e, samples, block), soll) << block;
  }
}

// In turn mode a forced cut depends on the buffer's length, and so on the size of blocks. If pauses
// come early enough to avoid it, the size of blocks changes nothing.
TEST(ChunkerRegel, InTurnModeTheSizeOfBlocksChangesNothingBelowTheGreatestLength) {
  std::mt19937 zufall(4);
  std::vector<float> samples;
  std::uniform_real_distribution<float> rede(-0.3F, 0.3F);
  std::uniform_real_distribution<float> pause(-0.002F, 0.002F);
  while (samples.size() < 60000) {
    for (std::size_t n = zufall() % 2000 + 1; n > 0; --n)
      samples.push_back(rede(zufall));
    for (std::size_t n = zufall() % 1000 + 1000; n > 0; --n)
      samples.push_back(pause(zufall));
  }
  Einstellung e;
  e.rede = true;
  e.max = 20.0;
  const auto soll = zeilenBei(e, samples, 1);
  EXPECT_GT(soll.size(), 20U);
  for (const std::size_t block : {13U, 159U, 160U, 161U, 1000U, 4097U, 10000U}) {
    EXPECT_EQ(zeilenBei(e, samples, block), soll) << block;
  }
}

}  // namespace
}  // namespace hallkorb
