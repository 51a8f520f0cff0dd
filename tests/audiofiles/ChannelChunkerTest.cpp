// Where the chunker cuts, and which chunks it drops.
#include "tests/audiofiles/ChannelChunkerTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using Zeilen = std::vector<std::string>;

TEST_F(ChannelChunkerTest, CountsSamplesByTruncation) {
  const auto c = rede();
  EXPECT_EQ(c->chunkSamples(), 400000);
  EXPECT_EQ(c->searchSamples(), 12800);
  EXPECT_EQ(c->minSamples(), 19200);
  EXPECT_EQ(c->maxSamples(), 64000);
  EXPECT_EQ(c->silenceRun(), 9600);
  EXPECT_EQ(c->minSprache(), 768);
  EXPECT_EQ(c->channel(), "me");
  EXPECT_EQ(c->outDir(), ordner.pfad());
  EXPECT_EQ(c->rate(), RATE);
  EXPECT_TRUE(c->turnMode());
  EXPECT_EQ(c->silenceRms(), 0.006F);
  const ChannelChunker krumm({.channel = "me",
                              .outDir = "",
                              .rate = -3.5,
                              .chunkSeconds = 1.0,
                              .turnMode = true,
                              .minSeconds = 0.5,
                              .maxSeconds = 0.2,
                              .silenceSeconds = 1e18,
                              .silenceRms = 0.0F});
  EXPECT_EQ(krumm.chunkSamples(), -3);
  EXPECT_EQ(krumm.searchSamples(), -2);
  EXPECT_EQ(krumm.minSamples(), -1);
  EXPECT_EQ(krumm.maxSamples(), 0);
  EXPECT_EQ(krumm.silenceRun(), -3500000000000000000);
}

// The line is not captured here: the dying process must be seen writing it.
TEST(ChannelChunkerAbbruch, CountsThatAreNoNumbersStopTheProcess) {
  const auto baue = [](double rate, double chunk, double min, double max, double stille) {
    const ChannelChunker c({.channel = "me",
                            .outDir = "",
                            .rate = rate,
                            .chunkSeconds = chunk,
                            .turnMode = true,
                            .minSeconds = min,
                            .maxSeconds = max,
                            .silenceSeconds = stille,
                            .silenceRms = 0.006F});
  };
  const auto abgebrochen = testing::KilledBySignal(SIGABRT);
  const double nan = std::nan("");
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EXIT(baue(RATE, 1e300, 1, 1, 1), abgebrochen,
              R"(\[hallkorb\] Abbruch: Chunk-Laenge \(--chunk\) von 1e\+300 s ist bei 16000 Hz )"
              "keine gueltige Zahl von Samples");
  EXPECT_EXIT(baue(RATE, inf, 1, 1, 1), abgebrochen, "--chunk");
  EXPECT_EXIT(baue(RATE, nan, 1, 1, 1), abgebrochen, "--chunk");
  EXPECT_EXIT(baue(nan, 25, 1, 1, 1), abgebrochen,
              "--rate -?nan ist keine gueltige Zahl von Samples je Sekunde");
  EXPECT_EXIT(baue(1e300, 0, 1, 1, 1), abgebrochen, R"(--rate 1e\+300 ist keine)");
  EXPECT_EXIT(baue(RATE, 1, -1e300, 1, 1), abgebrochen, "Mindestlaenge");
  EXPECT_EXIT(baue(RATE, 1, 1, -inf, 1), abgebrochen, R"(Hoechstlaenge \(--max\))");
  EXPECT_EXIT(baue(RATE, 1, 1, 1, 1e300), abgebrochen, "Pause");
  // 2^63 does not fit, -2^63 just does.
  EXPECT_EXIT(baue(1.0, 9223372036854775808.0, 1, 1, 1), abgebrochen, "--chunk");
  baue(1.0, -9223372036854775808.0, 1, 1, 1);
  baue(1.0, 9223372036854774784.0, 1, 1, 1);
}

TEST_F(ChannelChunkerTest, FixedModeCutsInTheMiddleOfTheQuietestFrameNearTheNominalLength) {
  for (const std::size_t leise : {467200U, 467360U, 480000U, 492480U}) {
    const auto c = fest(30.0);
    auto samples = ton(492800);
    setze(samples, leise, leise + 160, 0.4F);
    c->append(std::span(samples).first(492799));
    EXPECT_EQ(c->globalOffset(), 0);
    EXPECT_EQ(c->buf().size(), 492799U);
    c->append(std::span(samples).last(1));
    EXPECT_EQ(c->globalOffset(), static_cast<std::int64_t>(leise) + 80);
    EXPECT_EQ(c->buf().size(), 492800U - leise - 80);
    EXPECT_EQ(samplesIn("chunk_them_000.wav"), leise + 80);
  }
}

TEST_F(ChannelChunkerTest, FixedModeDoesNotLookAtTheFrameThatEndsTheRange) {
  const auto c = fest(30.0);
  auto samples = ton(492800);
  setze(samples, 492640, 492800, 0.0F);
  c->append(samples);
  EXPECT_EQ(c->globalOffset(), 467200 + 80);
}

TEST_F(ChannelChunkerTest, FixedModeCutsDigitalSilenceAtTheFirstFrame) {
  const auto c = fest(30.0);
  c->append(ton(492800, 0.0F));
  EXPECT_EQ(c->globalOffset(), 467280);
  EXPECT_EQ(ausgabe.ausgabeZeilen(), Zeilen{zeile(0, "them", R"("t0":0.00,"t1":29.20)")});
}

TEST_F(ChannelChunkerTest, FixedModeCutsAsManyChunksAsABlockHolds) {
  const auto c = fest(2.0);
  c->append(ton(160000));
  // Each chunk is 2.0 - 0.8 s and half a frame long, as long as 2.8 s are buffered.
  const Zeilen soll = {
      zeile(0, "them", R"("t0":0.00,"t1":1.21)"), zeile(1, "them", R"("t0":1.21,"t1":2.41)"),
      zeile(2, "them", R"("t0":2.41,"t1":3.62)"), zeile(3, "them", R"("t0":3.62,"t1":4.82)"),
      zeile(4, "them", R"("t0":4.82,"t1":6.03)"), zeile(5, "them", R"("t0":6.03,"t1":7.23)")};
  EXPECT_EQ(ausgabe.ausgabeZeilen(), soll);
  EXPECT_EQ(c->globalOffset(), 6 * 19280);
}

TEST_F(ChannelChunkerTest, FixedModeLooksForTheQuietestFrameFromTheSecondSampleOn) {
  const auto c = fest(0.5);  // 8000 - 12800 < 1
  auto samples = ton(20800);
  setze(samples, 161, 321, 0.1F);
  c->append(samples);
  EXPECT_EQ(samplesIn("chunk_them_000.wav"), 161U + 80U);
}

TEST_F(ChannelChunkerTest, TurnModeCutsInTheMiddleOfTheFirstLongPause) {
  const auto c = rede();
  auto samples = ton(48000);
  setze(samples, 19200 + 1600, 48000, LEISE);
  // The pause is long enough at the frame that ends 9600 samples after its start.
  c->append(std::span(samples).first(20800 + 9600 - 1));
  EXPECT_EQ(c->globalOffset(), 0);
  c->append(std::span(samples).subspan(20800 + 9600 - 1, 1));
  EXPECT_EQ(c->globalOffset(), 20800 + 4800);
  EXPECT_EQ(ausgabe.ausgabeZeilen(), Zeilen{zeile(0, "me", R"("t0":0.00,"t1":1.60)")});
  EXPECT_EQ(dateiBytes(ordner / "chunk_me_000.wav"),
            WavBytes::datei(std::span(samples).first(25600), 16000));
}

TEST_F(ChannelChunkerTest, TurnModeCountsAPauseFromTheShortestLengthOn) {
  const auto c = rede();
  auto samples = ton(40000);
  setze(samples, 10000, 40000, LEISE);
  c->append(std::span(samples).first(19200 + 9600));
  EXPECT_EQ(c->globalOffset(), 0);  // the buffer must be longer than both together
  c->append(std::span(samples).subspan(28800, 1));
  EXPECT_EQ(c->globalOffset(), 19200 + 4800);
}

TEST_F(ChannelChunkerTest, TurnModeBeginsAnewAfterOneLoudFrame) {
  const auto c = rede();
  auto samples = ton(50000, LEISE);
  setze(samples, 0, 19200, LAUT);
  setze(samples, 19200 + 50 * 160, 19200 + 51 * 160, LAUT);  // breaks a pause of 8000
  for (std::size_t k = 0; k < samples.size(); k += 100) {
    c->append(std::span(samples).subspan(k, 100));
    if (c->globalOffset() > 0) break;
  }
  EXPECT_EQ(c->globalOffset(), 19200 + 51 * 160 + 4800);
}

TEST_F(ChannelChunkerTest, AFrameAtTheLevelOfSilenceIsNotSilent) {
  const auto c = rede(0.25F);  // exact in binary, and so is the level of 0.25
  auto samples = ton(40000, 0.25F);
  setze(samples, 0, 19200, LAUT);
  c->append(samples);
  EXPECT_EQ(c->globalOffset(), 0);
  auto weiter = ton(20000, 0.24F);
  c->append(weiter);
  EXPECT_EQ(c->globalOffset(), 40000 + 4800);  // 19200 + 130 * 160 = 40000
}

TEST_F(ChannelChunkerTest, WithoutAPauseTurnModeCutsAtTheQuietestFrameNearTheGreatestLength) {
  const auto c = rede();
  auto samples = ton(64000);
  setze(samples, 38400 + 20 * 160, 38400 + 21 * 160, 0.3F);
  c->append(std::span(samples).first(63999));
  EXPECT_EQ(c->globalOffset(), 0);
  c->append(std::span(samples).last(1));
  EXPECT_EQ(c->globalOffset(), 38400 + 20 * 160 + 80);
}

TEST_F(ChannelChunkerTest, AForcedCutKeepsTheShortestLength) {
  const auto c = rede(0.006F, 1.5);  // 24000: less than minimum length plus search range
  auto samples = ton(30000);
  setze(samples, 0, 6400, 0.1F);
  c->append(samples);
  // Searched around 19200, from 6400 to the end of the buffer.
  EXPECT_EQ(c->globalOffset(), 6400 + 80);
}

// A block that brings the buffer to its greatest length forces a cut, though a pause lies in it.
TEST_F(ChannelChunkerTest, TurnModeLooksAtTheLengthOfTheBufferBeforeItsPauses) {
  auto samples = ton(64000);
  setze(samples, 20000, 32000, LEISE);
  setze(samples, 50000, 50400, 0.0F);
  const auto ganz = rede();
  ganz->append(samples);
  EXPECT_EQ(ganz->globalOffset(), 50080 + 80);  // 38400 + 73 * 160, the first of two silent frames
  const auto stueckweise = rede();
  stueckweise->append(std::span(samples).first(40000));
  EXPECT_EQ(stueckweise->globalOffset(), 20000 + 4800);
}

TEST_F(ChannelChunkerTest, ASilentChunkLeavesNothingButItsTime) {
  const auto c = rede();
  c->append(ton(28801, LEISE));
  EXPECT_EQ(c->globalOffset(), 24000);
  EXPECT_EQ(c->chunkIndex(), 0);
  EXPECT_TRUE(ordner.namen().empty());
  EXPECT_TRUE(ausgabe.ausgabeZeilen().empty());
  c->append(ton(16000));
  c->finalizeRemainder();
  EXPECT_EQ(ausgabe.ausgabeZeilen(), Zeilen{zeile(0, "me", R"("t0":1.50,"t1":2.80)")});
  EXPECT_EQ(c->ohneSprache(), 0);
}

TEST_F(ChannelChunkerTest, FixedModeKeepsSilentChunks) {
  const auto c = fest(25.0);
  c->append(ton(1000, 0.0F));
  c->finalizeRemainder();
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"chunk_them_000.wav"});
}

TEST_F(ChannelChunkerTest, WithSilenceAtZeroNothingIsSilent) {
  const auto c = rede(0.0F);
  c->append(ton(63999, 0.0F));
  EXPECT_EQ(c->globalOffset(), 0);
  c->append(ton(1, 0.0F));
  EXPECT_EQ(c->globalOffset(), 38400 + 80);
  c->finalizeRemainder();
  EXPECT_EQ(ordner.namen(), (std::vector<std::string>{"chunk_me_000.wav", "chunk_me_001.wav"}));
}

}  // namespace
}  // namespace hallkorb
