#include "tests/audiofiles/RohWavTest.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "tests/support/FehlerDateien.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;
using Bytes = std::vector<std::uint8_t>;
using Zeilen = std::vector<std::string>;

TEST_F(RohWavTest, BeginsWithTheHeaderOfAnEmptyRecording) {
  legeAn(pfad, Bytes(500, 7));
  const auto roh = oeffne();
  ASSERT_TRUE(roh);
  EXPECT_EQ(dateiBytes(pfad), WavBytes::kopf(16000, 0).bytes);
  EXPECT_TRUE(roh->handle());
  EXPECT_EQ(roh->bytes(), 0U);
  EXPECT_EQ(roh->letzterKopf(), 1000.0);
  EXPECT_EQ(roh->pfad(), pfad);
}

TEST_F(RohWavTest, WhatCannotBeOpenedIsNoObjectAndNoLine) {
  EXPECT_EQ(RohWav::oeffne(ordner / "fehlt/mikro_roh.wav", RATE), nullptr);
  EXPECT_EQ(RohWav::oeffne(ordner.pfad(), RATE), nullptr);
  ASSERT_EQ(::mkfifo((ordner / "rohr").c_str(), 0600), 0);
  EXPECT_EQ(RohWav::oeffne(ordner / "rohr", RATE), nullptr);  // nobody reads it: no wait
  dateien.scheitere(Ruf::oeffnen, 0, EACCES);
  EXPECT_EQ(oeffne(), nullptr);
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
}

TEST_F(RohWavTest, APipeGetsTheSamplesAsTheyCome) {
  ASSERT_EQ(::mkfifo(pfad.c_str(), 0600), 0);
  const int leser = ::open(pfad.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(leser, 0);
  auto roh = oeffne();
  ASSERT_NE(roh, nullptr);
  roh->schreiben(std::vector<float>{0.5F, -1.0F});
  jetzt += 6;
  roh->schreiben(std::vector<float>{1.0F});
  EXPECT_TRUE(roh->schliessen().gelungen());
  std::vector<std::uint8_t> da(100);
  ASSERT_EQ(::read(leser, da.data(), da.size()), 50);
  ::close(leser);
  da.resize(50);
  auto soll = WavBytes::kopf(16000, 0).bytes;
  soll.insert(soll.end(), {0xFF, 0x3F, 0x01, 0x80, 0xFF, 0x7F});
  EXPECT_EQ(da, soll);
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
}

TEST_F(RohWavTest, ClosedAfterThreeSecondsItHasACorrectHeader) {
  std::vector<float> alles;
  auto roh = oeffne();
  for (int s = 0; s < 3; ++s) {
    const auto block = sekunde(s);
    alles.insert(alles.end(), block.begin(), block.end());
    roh->schreiben(block);
    jetzt += 1.0;
  }
  EXPECT_EQ(erklaert(), 0U);
  EXPECT_EQ(roh->bytes(), 96000U);
  EXPECT_EQ(roh->letzterKopf(), 1000.0);
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(alles, 16000));
  EXPECT_FALSE(roh->handle());
  EXPECT_EQ(roh->letzterKopf(), 1003.0);
}

TEST_F(RohWavTest, EncodesLikeWriteWav) {
  const std::vector<float> samples = {0.0F, 1.0F, 1.5F, -1.0F, -2.0F, 0.5F, 0.99999F, NAN};
  const auto roh = oeffne();
  roh->schreiben(samples);
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(samples, 16000));
}

TEST_F(RohWavTest, ThereIsRoomUpToTwoGigabytes) {
  const auto roh = oeffne();
  const std::size_t alles = (2147483647U - 36U) / 2;
  EXPECT_EQ(roh->platz(), alles);
  roh->schreiben(sekunde(0));
  EXPECT_EQ(roh->platz(), alles - RATE);
}

TEST_F(RohWavTest, TheHeaderFollowsWhenMoreThanFiveSecondsHavePassed) {
  const auto roh = oeffne();
  jetzt = 1005.0;
  roh->schreiben(sekunde(0));
  EXPECT_EQ(erklaert(), 0U);  // not more than five
  jetzt = 1005.5;
  roh->schreiben(sekunde(1));
  EXPECT_EQ(erklaert(), 64000U);
  EXPECT_EQ(roh->letzterKopf(), 1005.5);
  jetzt = 1010.5;
  roh->schreiben(sekunde(2));
  EXPECT_EQ(erklaert(), 64000U);
  jetzt = 1010.75;
  roh->schreiben(sekunde(3));
  EXPECT_EQ(erklaert(), 128000U);
}

TEST_F(RohWavTest, ABlockIsOneWrite) {
  const auto roh = oeffne();
  const std::size_t vorher = dateien.rufe();
  roh->schreiben(sekunde(0));
  EXPECT_EQ(dateien.rufe(), vorher + 1);
}

TEST_F(RohWavTest, AnEmptyBlockDoesNothing) {
  const auto roh = oeffne();
  roh->schreiben(sekunde(0));
  jetzt = 1100.0;
  const std::size_t vorher = dateien.rufe();
  roh->schreiben({});
  EXPECT_EQ(dateien.rufe(), vorher);
  EXPECT_EQ(erklaert(), 0U);
}

TEST_F(RohWavTest, AfterClosingNothingHappensAnyMore) {
  const auto roh = oeffne();
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  const Bytes zu = dateiBytes(pfad);
  const std::size_t vorher = dateien.rufe();
  jetzt = 1100.0;
  roh->schreiben(sekunde(1));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateien.rufe(), vorher);
  EXPECT_EQ(dateiBytes(pfad), zu);
  EXPECT_EQ(roh->bytes(), 32000U);
}

TEST_F(RohWavTest, TheDestructorCloses) {
  oeffne()->schreiben(sekunde(0));
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(sekunde(0), 16000));
  EXPECT_EQ(dateien.rufe(Ruf::schliessen), 1U);
}

TEST(RohWavKopf, TakesTheRateModulo32Bit) {
  const std::pair<std::int64_t, std::uint64_t> faelle[] = {
      {16000, 16000},
      {0, 0},
      {-1, 0xFFFFFFFFU},
      {-16000, 0xFFFFC180U},
      {(std::int64_t{1} << 32U) + 5, 5},
      {std::numeric_limits<std::int64_t>::min(), 0},
      {std::numeric_limits<std::int64_t>::max(), 0xFFFFFFFFU}};
  for (const auto& [rate, feld] : faelle) {
    const WavKopf kopf = RohWav::kopf(rate, 1234);
    EXPECT_EQ(Bytes(kopf.begin(), kopf.end()), WavBytes::kopf(feld, 1234).bytes) << rate;
  }
}

// A kill leaves what the file holds between two calls.
TEST_F(RohWavTest, AtAnyTimeTheHeaderDeclaresAtMostFiveSecondsLess) {
  std::mt19937 zufall(7);
  const auto roh = oeffne();
  for (int k = 0; k < 800; ++k) {
    const std::size_t n = zufall() % 1600 + 1;
    roh->schreiben(std::vector<float>(n, 0.5F));
    jetzt += static_cast<double>(n) / RATE;
    if (k % 10 != 0) continue;
    ASSERT_LE(erklaert(), gehalten());
    ASSERT_LE(gehalten() - erklaert(), std::size_t{2 * (5 * RATE + 1600 + 1600)});
  }
  EXPECT_GT(gehalten(), std::size_t{2 * 30 * RATE});
}

TEST_F(RohWavTest, LostSamplesKeepTheirPlaceAndReadAsSilence) {
  std::vector<float> alles;
  const auto roh = oeffne();
  const auto schreibe = [&](int s, bool verloren) {
    const auto block = sekunde(s);
    const std::vector<float> stille(block.size(), 0.0F);
    const auto& bleibt = verloren ? stille : block;
    alles.insert(alles.end(), bleibt.begin(), bleibt.end());
    roh->schreiben(block);
    jetzt += 1.0;
  };
  schreibe(0, false);
  dateien.scheitere(Ruf::schreibenAn, 0, ENOSPC, 2);
  schreibe(1, true);
  EXPECT_EQ(roh->bytes(), 32000U);
  schreibe(2, true);
  EXPECT_EQ(ausgabe.fehlerZeilen(),
            Zeilen{"[hallkorb] mikro_roh.wav: Schreibfehler: No space left on device"});
  schreibe(3, false);
  EXPECT_EQ(roh->bytes(), 128000U);
  schreibe(4, false);
  const Zeilen soll = {
      "[hallkorb] mikro_roh.wav: Schreibfehler: No space left on device",
      "[hallkorb] mikro_roh.wav: Schreiben geht wieder, 32000 Samples sind durch Stille ersetzt"};
  EXPECT_EQ(ausgabe.fehlerZeilen(), soll);
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(alles, 16000));
}

TEST_F(RohWavTest, OnADiskThatStaysFullTheFileStillIsAsLongAsTheRecording) {
  const auto roh = oeffne();
  roh->schreiben(sekunde(0));
  dateien.scheitere(Ruf::schreibenAn, 0, ENOSPC, 3);
  for (int s = 1; s < 4; ++s)
    roh->schreiben(sekunde(s));
  EXPECT_EQ(gehalten(), 32000U);
  EXPECT_TRUE(roh->schliessen().gelungen());
  std::vector<float> alles = sekunde(0);
  alles.resize(4 * RATE, 0.0F);
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(alles, 16000));
  EXPECT_EQ(roh->bytes(), 128000U);
  EXPECT_EQ(ausgabe.fehlerZeilen().size(), 1U);
}

TEST_F(RohWavTest, WhereTheFileCannotGrowTheHeaderDeclaresWhatItHolds) {
  const auto roh = oeffne();
  roh->schreiben(sekunde(0));
  dateien.scheitere(Ruf::schreibenAn, 0, EFBIG);
  dateien.scheitere(Ruf::laengeSetzen, 0, EFBIG);
  roh->schreiben(sekunde(1));
  const Ergebnis ergebnis = roh->schliessen();
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EFBIG);
  EXPECT_EQ(ergebnis.fehler().description, "Schliessen von " + pfad + ": File too large");
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(sekunde(0), 16000));
}

TEST_F(RohWavTest, APartOfABlockThatWasWrittenCounts) {
  const auto roh = oeffne();
  dateien.kurz(1001);
  dateien.scheitere(Ruf::schreibenAn, 3, ENOSPC);
  roh->schreiben(sekunde(0));
  EXPECT_EQ(roh->bytes(), 3002U);  // 3003 bytes; half a sample is none
  dateien.kurz(FehlerDateien::IMMER);
  roh->schreiben(sekunde(1));
  EXPECT_EQ(roh->bytes(), 64000U);
  EXPECT_EQ(ausgabe.fehlerZeilen().back(),
            "[hallkorb] mikro_roh.wav: Schreiben geht wieder, 14499 Samples sind durch Stille "
            "ersetzt");
  EXPECT_TRUE(roh->schliessen().gelungen());
  const Bytes bytes = dateiBytes(pfad);
  const Bytes erste = WavBytes::datei(sekunde(0), 16000);
  EXPECT_EQ(bytes.size(), 64044U);
  EXPECT_TRUE(std::equal(erste.begin() + 44, erste.begin() + 44 + 3002, bytes.begin() + 44));
  const Bytes zweite = WavBytes::datei(sekunde(1), 16000);
  EXPECT_TRUE(std::equal(zweite.begin() + 44, zweite.end(), bytes.begin() + 44 + 32000));
}

TEST_F(RohWavTest, CompletesShortWritesAndInterruptedCalls) {
  dateien.kurz(777);
  dateien.scheitere(Ruf::oeffnen, 0, EINTR);
  dateien.scheitere(Ruf::schreibenAn, 5, EINTR, 3);
  dateien.scheitere(Ruf::schliessen, 0, EINTR);
  const auto roh = oeffne();
  ASSERT_TRUE(roh);
  roh->schreiben(sekunde(0));
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(sekunde(0), 16000));
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
}

TEST_F(RohWavTest, AHeaderThatCouldNotBeWrittenIsMadeGood) {
  dateien.scheitere(Ruf::schreibenAn, 0, ENOSPC, 3);
  const auto roh = oeffne();
  ASSERT_TRUE(roh);
  EXPECT_EQ(dateiBytes(pfad), Bytes{});
  roh->schreiben(sekunde(0));  // neither the samples nor the header
  roh->schreiben(sekunde(1));
  EXPECT_EQ(erklaert(), 64000U);
  EXPECT_EQ(ausgabe.fehlerZeilen().size(), 2U);
  EXPECT_TRUE(roh->schliessen().gelungen());
  std::vector<float> alles(RATE, 0.0F);
  const auto zweite = sekunde(1);
  alles.insert(alles.end(), zweite.begin(), zweite.end());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(alles, 16000));
}

TEST_F(RohWavTest, AnErrorOfClosingIsHandedUpAndTheFileIsGone) {
  const auto roh = oeffne();
  dateien.scheitere(Ruf::schliessen, 0, EIO);
  const Ergebnis ergebnis = roh->schliessen();
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EIO);
  EXPECT_FALSE(roh->handle());
  EXPECT_TRUE(roh->schliessen().gelungen());
}

TEST_F(RohWavTest, WhicheverCallFailsTheHeaderDeclaresNoMoreThanTheFileHolds) {
  for (std::size_t n = 3;; ++n) {  // the first ones lead to no object
    FehlerDateien versuch;
    versuch.kurz(20001);
    versuch.scheitere(n, EIO, 2);
    jetzt = 1000.0;
    const auto roh = RohWav::oeffne(pfad, RATE, versuch, [this] { return jetzt; });
    if (!roh && n < 5) continue;  // whose file it is and that it is empty must be certain
    ASSERT_TRUE(roh);
    for (int s = 0; s < 8; ++s) {
      roh->schreiben(sekunde(s));
      if (std::filesystem::file_size(pfad) >= 44) {
        ASSERT_LE(erklaert(), gehalten());
      }
      jetzt += 1.0;
    }
    const Ergebnis ergebnis = roh->schliessen();
    EXPECT_LE(erklaert(), gehalten()) << n;
    if (ergebnis.gelungen()) {
      EXPECT_EQ(gehalten(), std::size_t{2 * 8 * RATE}) << n;
      EXPECT_EQ(erklaert(), gehalten()) << n;
    }
    if (versuch.rufe() <= n) break;
  }
}

// Files that swallow everything: two gigabytes are counted, not stored.
class Schlucker final : public Dateien {
 public:
  int oeffnen(const std::string&, int, mode_t) override { return 3; }
  ssize_t lesen(int, std::span<std::uint8_t>) override { return 0; }
  ssize_t schreiben(int, std::span<const std::uint8_t> bytes) override { return std::ssize(bytes); }
  ssize_t schreibenAn(int, std::span<const std::uint8_t> bytes, std::int64_t) override {
    return std::ssize(bytes);
  }
  int warteAufPlatz(int, std::chrono::milliseconds) override { return 0; }
  ssize_t lesenAn(int, std::span<std::uint8_t>, std::int64_t) override { return 0; }
  int laengeSetzen(int, std::int64_t) override { return 0; }
  int rechteSetzen(int, mode_t) override { return 0; }
  int aufPlatte(int) override { return 0; }
  int schliessen(int) override { return 0; }
  int umbenennen(const std::string&, const std::string&) override { return 0; }
  int loeschen(const std::string&) override { return 0; }
  int verknuepfen(const std::string&, const std::string&) override { return 0; }
  int ordnerAnlegen(const std::string&) override { return 0; }
  int ordnerLesen(const std::string&, std::vector<Eintrag>&) override { return -ENOENT; }
  int zustand(const std::string&, Zustand&) override { return -ENOENT; }
  int verweis(const std::string&, std::string&) override { return -ENOENT; }
  int zustandOffen(int, Zustand&) override { return 0; }
  int sperren(int) override { return 0; }
};

TEST(RohWavGrenze, MoreThanThereIsRoomForStopsTheProcess) {
#if defined(__SANITIZE_THREAD__) || !defined(__OPTIMIZE__)
  GTEST_SKIP() << "encodes 2 GiB, which takes minutes in this build";
#endif
  Schlucker schlucker;
  double jetzt = 0.0;
  const auto roh = RohWav::oeffne("mikro_roh.wav", RATE, schlucker, [&] { return jetzt; });
  // 36 + bytes is to fit a signed 32-bit number.
  const std::size_t grenze = (2147483647U - 36U) / 2;
  const std::vector<float> block(std::size_t{1} << 23U);
  std::size_t da = 0;
  for (; da + block.size() <= grenze; da += block.size()) {
    EXPECT_EQ(roh->platz(), grenze - da);
    roh->schreiben(block);
  }
  roh->schreiben(std::span(block).first(grenze - da));
  EXPECT_EQ(roh->platz(), 0U);
  jetzt = 6.0;
  EXPECT_EXIT(roh->schreiben(std::span(block).first(1)), testing::KilledBySignal(SIGABRT),
              R"(\[hallkorb\] Abbruch: mikro_roh.wav: mehr als 2 GiB)");
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(roh->bytes(), 2147483610U);
}

}  // namespace
}  // namespace hallkorb
