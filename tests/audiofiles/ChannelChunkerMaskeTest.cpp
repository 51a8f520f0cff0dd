// Chunks whose samples are marked as speech or not.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <vector>

#include "tests/audiofiles/ChannelChunkerTest.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using Zeilen = std::vector<std::string>;
using Maske = std::vector<bool>;

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

}  // namespace
}  // namespace hallkorb
