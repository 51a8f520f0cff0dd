#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "audiofiles/Wav.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;
using Zeilen = std::vector<std::string>;
using Maske = std::vector<bool>;

constexpr double RATE = 16000.0;
constexpr float LAUT = 0.5F;
constexpr float LEISE = 0.001F;

// The settings of a live recording; each test changes what it is about.
ChunkerEinstellung einstellung(const std::string& ordner, bool rede) {
  return {.channel = "me",
          .outDir = ordner,
          .rate = RATE,
          .chunkSeconds = 25.0,
          .turnMode = rede,
          .minSeconds = 1.2,
          .maxSeconds = 4.0,
          .silenceSeconds = 0.6,
          .silenceRms = 0.006F};
}

class ChannelChunkerTest : public testing::Test {
 protected:
  std::unique_ptr<ChannelChunker> fest(double chunkSeconds) {
    auto e = einstellung(ordner.pfad(), false);
    e.channel = "them";
    e.chunkSeconds = chunkSeconds;
    return std::make_unique<ChannelChunker>(e, dateien);
  }
  std::unique_ptr<ChannelChunker> rede(float silenceRms = 0.006F, double maxSeconds = 4.0) {
    auto e = einstellung(ordner.pfad(), true);
    e.maxSeconds = maxSeconds;
    e.silenceRms = silenceRms;
    return std::make_unique<ChannelChunker>(e, dateien);
  }
  [[nodiscard]] std::string zeile(int i, const std::string& kanal, const std::string& rest) const {
    const std::string nummer = std::to_string(i);
    return R"({"chunk":)" + nummer + R"(,"channel":")" + kanal + R"(","path":")" +
           (ordner / ("chunk_" + kanal + "_00" + nummer + ".wav")) + R"(",)" + rest + "}";
  }
  [[nodiscard]] std::size_t samplesIn(const std::string& name) const {
    return (dateiBytes(ordner / name).size() - 44) / 2;
  }

  TempOrdner ordner;
  FehlerDateien dateien;
  AusgabeFaenger ausgabe;
};

std::vector<float> ton(std::size_t anzahl, float wert = LAUT) {
  return std::vector<float>(anzahl, wert);
}

void setze(std::vector<float>& samples, std::size_t von, std::size_t bis, float wert) {
  std::fill(samples.begin() + static_cast<std::ptrdiff_t>(von),
            samples.begin() + static_cast<std::ptrdiff_t>(bis), wert);
}

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

TEST_F(ChannelChunkerTest, AMaskedChunkNeeds768SamplesOfSpeech) {
  const auto c = rede();
  Maske maske(10000, false);
  std::fill_n(maske.begin() + 500, 767, true);
  c->append(ton(10000), &maske);
  c->finalizeRemainder();
  EXPECT_EQ(c->ohneSprache(), 1);
  EXPECT_EQ(c->chunkIndex(), 0);
  EXPECT_TRUE(ordner.namen().empty());
  maske[9999] = true;
  c->append(ton(10000), &maske);
  c->finalizeRemainder();
  EXPECT_EQ(c->ohneSprache(), 1);
  EXPECT_EQ(ausgabe.ausgabeZeilen(),
            Zeilen{zeile(0, "me", R"("t0":0.62,"t1":1.25,"sprache_ms":48)")});
}

TEST_F(ChannelChunkerTest, AMaskWorksInFixedModeToo) {
  const auto c = fest(25.0);
  const Maske keine(5000, false);
  c->append(ton(5000), &keine);
  c->finalizeRemainder();
  EXPECT_EQ(c->ohneSprache(), 1);
}

TEST_F(ChannelChunkerTest, ASilentMaskedChunkIsNotCountedAsOneWithoutSpeech) {
  const auto c = rede();
  const Maske keine(5000, false);
  c->append(ton(5000, LEISE), &keine);
  c->finalizeRemainder();
  EXPECT_EQ(c->ohneSprache(), 0);
  EXPECT_TRUE(c->maske().empty());
  EXPECT_EQ(c->globalOffset(), 5000);
}

TEST_F(ChannelChunkerTest, BlocksWithoutAMaskCountAsSpeechOnceAMaskHasCome) {
  const auto c = rede();
  const Maske keine(1000, false);
  c->append(ton(1000), &keine);
  c->append(ton(767));
  const Maske falsch(5, false);
  c->append(ton(800), &falsch);  // another length than its block
  EXPECT_EQ(c->maske().size(), 2567U);
  c->finalizeRemainder();
  EXPECT_EQ(ausgabe.ausgabeZeilen(),
            Zeilen{zeile(0, "me", R"("t0":0.00,"t1":0.16,"sprache_ms":97)")});
}

TEST_F(ChannelChunkerTest, AMaskThatStartsLaterRunsAhead) {
  const auto c = rede();
  c->append(ton(2000));
  EXPECT_FALSE(c->mitMaske());
  EXPECT_TRUE(c->maske().empty());
  Maske maske(3000, true);
  std::fill_n(maske.begin(), 1300, false);
  c->append(ton(3000), &maske);
  EXPECT_TRUE(c->mitMaske());
  {
    const std::lock_guard halter(c->lock);
    c->flush(2000);  // takes the mask of the second block: 700 of speech
  }
  EXPECT_EQ(c->ohneSprache(), 1);
  EXPECT_EQ(c->maske().size(), 1000U);
  c->finalizeRemainder();  // 1000 entries for 3000 samples
  EXPECT_EQ(ausgabe.ausgabeZeilen(),
            Zeilen{zeile(0, "me", R"("t0":0.12,"t1":0.31,"sprache_ms":62)")});
}

TEST_F(ChannelChunkerTest, AnEmptyMaskForAnEmptyBlockIsAMask) {
  const auto c = rede();
  const Maske leer;
  c->append({}, &leer);
  EXPECT_TRUE(c->mitMaske());
}

TEST_F(ChannelChunkerTest, TheRemainderMayBeShortOrMissing) {
  const auto c = rede();
  c->finalizeRemainder();
  EXPECT_TRUE(ordner.namen().empty());
  c->append(ton(10));
  c->finalizeRemainder();
  EXPECT_EQ(dateiBytes(ordner / "chunk_me_000.wav"), WavBytes::datei(ton(10), 16000));
  EXPECT_EQ(ausgabe.ausgabeZeilen(), Zeilen{zeile(0, "me", R"("t0":0.00,"t1":0.00)")});
  c->append(ton(10, LEISE));
  c->finalizeRemainder();
  EXPECT_EQ(c->globalOffset(), 20);
  EXPECT_EQ(c->chunkIndex(), 1);
  EXPECT_TRUE(c->buf().empty());
}

TEST_F(ChannelChunkerTest, FlushTakesAtMostWhatIsThereAndAtLeastOne) {
  const auto c = fest(25.0);
  c->append(ton(100));
  const std::lock_guard halter(c->lock);
  c->flush(0);
  c->flush(-5);
  EXPECT_EQ(c->globalOffset(), 0);
  c->flush(60);
  EXPECT_EQ(c->globalOffset(), 60);
  c->flush(std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(c->globalOffset(), 100);
  EXPECT_EQ(samplesIn("chunk_them_001.wav"), 40U);
}

TEST_F(ChannelChunkerTest, AFailedWriteUsesUpItsNumberAndItsTime) {
  const auto c = fest(25.0);
  dateien.scheitere(Ruf::schreiben, 1, ENOSPC);
  for (int k = 0; k < 3; ++k) {
    c->append(ton(16000));
    c->finalizeRemainder();
  }
  EXPECT_EQ(ordner.namen(), (std::vector<std::string>{"chunk_them_000.wav", "chunk_them_002.wav"}));
  const Zeilen soll = {zeile(0, "them", R"("t0":0.00,"t1":1.00)"),
                       zeile(2, "them", R"("t0":2.00,"t1":3.00)")};
  EXPECT_EQ(ausgabe.ausgabeZeilen(), soll);
  EXPECT_EQ(ausgabe.fehlerZeilen(),
            Zeilen{"[hallkorb] WAV-Schreibfehler (them #1): Schreiben nach " +
                   (ordner / "chunk_them_001.wav") + ": No space left on device"});
}

TEST_F(ChannelChunkerTest, AFolderThatIsGoneCostsOnlyItsChunks) {
  const auto c = fest(25.0);
  std::filesystem::remove_all(ordner.pfad());
  c->append(ton(160));
  c->finalizeRemainder();
  EXPECT_TRUE(ausgabe.ausgabeZeilen().empty());
  EXPECT_EQ(ausgabe.fehlerZeilen().size(), 1U);
  EXPECT_TRUE(erzeugeOrdner(ordner.pfad()).gelungen());
  c->append(ton(160));
  c->finalizeRemainder();
  EXPECT_EQ(ausgabe.ausgabeZeilen(), Zeilen{zeile(1, "them", R"("t0":0.01,"t1":0.02)")});
}

TEST_F(ChannelChunkerTest, IndexesGrowBeyondThreeDigits) {
  auto e = einstellung(ordner.pfad() + "/", false);
  e.rate = 1000.0;
  e.chunkSeconds = 1.0;
  ChannelChunker c(e);
  const std::lock_guard halter(c.lock);
  for (int k = 0; k <= 1000; ++k) {
    c.lock.unlock();
    c.append(ton(1));
    c.lock.lock();
    c.flush(1);
  }
  EXPECT_TRUE(std::filesystem::exists(ordner / "chunk_me_999.wav"));
  EXPECT_TRUE(std::filesystem::exists(ordner / "chunk_me_1000.wav"));
  // The folder already ends with a separator.
  EXPECT_EQ(ausgabe.ausgabeZeilen().back(), R"({"chunk":1000,"channel":"me","path":")" +
                                                (ordner / "chunk_me_1000.wav") +
                                                R"(","t0":1.00,"t1":1.00})");
}

TEST_F(ChannelChunkerTest, NamesGoIntoTheLineAsTheyAre) {
  const std::string kanal = R"(a"b\ä)";
  auto e = einstellung(ordner.pfad(), false);
  e.channel = kanal;
  ChannelChunker c(e);
  c.append(ton(160));
  c.finalizeRemainder();
  EXPECT_EQ(ausgabe.ausgabeZeilen(), Zeilen{zeile(0, kanal, R"("t0":0.00,"t1":0.01)")});
}

// Lengths of zero and less are taken as they are: if they cut nothing, everything waits for the
// end. A chunker that repeated an empty cut would hang here.
TEST_F(ChannelChunkerTest, LengthsThatCutNothingLeaveAllToTheEnd) {
  constexpr double AM_RAND = 576460752303423.0;  // less than 0.8 s from 2^63 samples
  struct Fall {
    double rate, chunk, max;
    bool rede;
  };
  const Fall faelle[] = {{RATE, -1.0, 4.0, false},    {RATE, -1e14, 4.0, false},
                         {RATE, AM_RAND, 4.0, false}, {RATE, -AM_RAND, 4.0, false},
                         {0.0, 25.0, 4.0, false},     {0.0, 25.0, 4.0, true},
                         {-0.5, 25.0, 4.0, false},    {-0.5, 25.0, 4.0, true},
                         {RATE, 25.0, AM_RAND, true}, {2e9, 4e9, 4.0, false}};
  for (const Fall& fall : faelle) {
    auto e = einstellung(ordner.pfad(), fall.rede);
    e.rate = fall.rate;
    e.chunkSeconds = fall.chunk;
    e.maxSeconds = fall.max;
    ChannelChunker c(e, dateien);
    for (int k = 0; k < 20; ++k)
      c.append(ton(1000));
    c.append({});
    EXPECT_EQ(c.globalOffset(), 0) << fall.rate << " " << fall.chunk << " " << fall.max;
    c.finalizeRemainder();
    EXPECT_EQ(c.globalOffset(), 20000);
    EXPECT_EQ(samplesIn("chunk_me_000.wav"), 20000U);
  }
}

TEST_F(ChannelChunkerTest, WithAGreatestLengthOfZeroEveryBlockIsAChunk) {
  for (const double max : {0.0, -1.0, -576460752303423.0}) {
    const auto c = rede(0.006F, max);
    c->append({});
    for (int k = 1; k <= 5; ++k) {
      c->append(ton(1000));
      EXPECT_EQ(c->globalOffset(), 1000 * k);
    }
    EXPECT_EQ(c->chunkIndex(), 5);
  }
}

TEST_F(ChannelChunkerTest, APauseLengthOfZeroCutsAtTheFirstSilentFrame) {
  auto e = einstellung(ordner.pfad(), true);
  e.silenceSeconds = 0.0;
  e.minSeconds = 0.1;
  ChannelChunker c(e);
  auto samples = ton(4000);
  setze(samples, 1600 + 320, 4000, LEISE);
  c.append(samples);
  EXPECT_EQ(samplesIn("chunk_me_000.wav"), 1600U + 320U);
  EXPECT_EQ(c.globalOffset(), 1600 + 320 + 1600);  // the silence that follows is dropped
  // Silence from the very beginning cuts nothing.
  e.minSeconds = -1.0;
  ChannelChunker nichts(e);
  for (int k = 0; k < 10; ++k)
    nichts.append(ton(1000, LEISE));
  EXPECT_EQ(nichts.globalOffset(), 0);
}

TEST(ChannelChunkerAbbruch, AtRateZeroAMaskedChunkHasNoMillisecondsAndStopsTheProcess) {
  const TempOrdner ordner;
  auto e = einstellung(ordner.pfad(), true);
  e.rate = 0.0;
  ChannelChunker c(e);
  const Maske maske(1000, true);
  c.append(ton(1000), &maske);
  EXPECT_EXIT(c.finalizeRemainder(), testing::KilledBySignal(SIGABRT),
              R"(\[hallkorb\] Abbruch: sprache_ms: keine gueltige Zahl bei 0 Hz)");
  EXPECT_EQ(c.globalOffset(), 0);
}

TEST(ChannelChunkerAbbruch, ANegativeRateStopsTheProcessAtTheFirstChunk) {
  const TempOrdner ordner;
  auto e = einstellung(ordner.pfad(), true);
  e.rate = -16000.0;
  ChannelChunker c(e);
  c.append(ton(1000));
  EXPECT_EQ(c.globalOffset(), 0);
  EXPECT_EXIT(c.finalizeRemainder(), testing::KilledBySignal(SIGABRT),
              R"(\[hallkorb\] Abbruch: WAV-Datei: keine gueltige Rate: -16000 Hz)");
}

// The last cut and the blocks come from different threads: in any order, nothing is lost.
TEST_F(ChannelChunkerTest, TheLastCutAndABlockFromAnotherThreadKeepEachOtherOut) {
  const auto c = rede();
  const auto block = ton(800);
  std::thread schreiber([&] {
    for (int k = 0; k < 200; ++k)
      c->append(block);
  });
  for (int k = 0; k < 20; ++k)
    c->finalizeRemainder();
  schreiber.join();
  c->finalizeRemainder();
  EXPECT_EQ(c->globalOffset(), 160000);
  std::size_t summe = 0;
  for (const std::string& name : ordner.namen())
    summe += samplesIn(name);
  EXPECT_EQ(summe, 160000U);
  EXPECT_EQ(ausgabe.ausgabeZeilen().size(), ordner.namen().size());
}

}  // namespace
}  // namespace hallkorb
