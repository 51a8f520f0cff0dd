// The remainder, failed writes, and settings at the limits of what they mean.
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/audiofiles/ChannelChunkerTest.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;
using Zeilen = std::vector<std::string>;

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
  const Fall faelle[] = {
      {RATE, -1.0, 4.0, false},     {RATE, -1e14, 4.0, false}, {RATE, AM_RAND, 4.0, false},
      {RATE, -AM_RAND, 4.0, false}, {0.0, 25.0, 4.0, false},   {0.0, 25.0, 4.0, true},
      {-0.5, 25.0, 4.0, false},     {-0.5, 25.0, 4.0, true},   {RATE, 25.0, AM_RAND, true},
      {2e9, 4e9, 4.0, false},       {1.0, -0x1p63, 4.0, false}};
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

// It is made of whole frames of 160 samples.
TEST_F(ChannelChunkerTest, APauseIsAtLeastAsLongAsAsked) {
  for (const auto& [verlangt, stille, geschnitten] :
       {std::tuple{320, 320, true}, std::tuple{321, 320, false}, std::tuple{321, 480, true}}) {
    auto e = einstellung(ordner.pfad(), true);
    e.minSeconds = 0.1;
    e.silenceSeconds = verlangt / RATE;
    ChannelChunker c(e);
    auto samples = ton(16000);
    setze(samples, 3200, 3200 + static_cast<std::size_t>(stille), LEISE);
    c.append(samples);
    EXPECT_EQ(c.globalOffset() > 0, geschnitten) << verlangt << " " << stille;
    c.finalizeRemainder();
  }
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
