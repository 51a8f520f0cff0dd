#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <limits>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "audiofiles/Wav.h"
#include "audiofiles/WavLeser.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

constexpr float NAN32 = std::numeric_limits<float>::quiet_NaN();
constexpr float INF32 = std::numeric_limits<float>::infinity();
constexpr double INF64 = std::numeric_limits<double>::infinity();

std::vector<float> liesBytes(const std::vector<std::uint8_t>& bytes) {
  const auto samples = dekodiereWav(bytes);
  EXPECT_TRUE(samples.has_value());
  return samples.value_or(std::vector<float>{});
}

// A header with another format than ours, up to the first sample.
WavBytes fremderKopf(std::uint32_t kanaele, std::uint64_t datenBytes) {
  WavBytes b;
  b.wort("RIFF").u32(36 + datenBytes).wort("WAVE");
  b.wort("fmt ").u32(16).u16(1).u16(kanaele).u32(48000).u32(192000).u16(4).u16(16);
  b.wort("data").u32(datenBytes);
  return b;
}

// The rules in their plainest form, with the whole file in memory.
std::optional<std::vector<float>> dekodiereGanz(const std::vector<std::uint8_t>& b) {
  if (b.size() < 45) return std::nullopt;
  const auto zahl = [&](std::size_t stelle, int bytes) {
    std::uint64_t wert = 0;
    for (int i = bytes; i > 0; --i)
      wert = wert << 8U | b[stelle + static_cast<std::size_t>(i) - 1];
    return wert;
  };
  const auto heisst = [&](std::size_t stelle, const char* name) {
    return std::string(b.begin() + static_cast<std::ptrdiff_t>(stelle),
                       b.begin() + static_cast<std::ptrdiff_t>(stelle) + 4) == name;
  };
  std::uint64_t kanaele = 1;
  for (std::size_t p = 12; p + 8 <= b.size();) {
    const std::uint64_t s = zahl(p + 4, 4);
    if (heisst(p, "data")) {
      const std::size_t ende = std::min<std::uint64_t>(p + 8 + s, b.size());
      std::vector<float> samples;
      for (std::size_t i = p + 8; i + 2 * kanaele <= ende; i += 2 * kanaele) {
        const auto wert = static_cast<std::int16_t>(zahl(i, 2));
        samples.push_back(static_cast<float>(wert) / 32768.0F);
      }
      return samples;
    }
    if (heisst(p, "fmt ")) {
      if (p + 12 > b.size()) return std::nullopt;
      kanaele = std::max<std::uint64_t>(zahl(p + 10, 2), 1);
    }
    p += 8 + s + s % 2;
  }
  return std::nullopt;
}

class WriteWav : public testing::Test {
 protected:
  TempOrdner ordner;
  std::string pfad = ordner / "a.wav";
};

TEST_F(WriteWav, NoSamplesMakeABareHeader) {
  ASSERT_TRUE(writeWav({}, 16000.0, pfad).gelungen());
  const std::vector<std::uint8_t> soll = {'R', 'I', 'F',  'F',  36,  0,   0,   0,    'W', 'A', 'V',
                                          'E', 'f', 'm',  't',  ' ', 16,  0,   0,    0,   1,   0,
                                          1,   0,   0x80, 0x3E, 0,   0,   0,   0x7D, 0,   0,   2,
                                          0,   16,  0,    'd',  'a', 't', 'a', 0,    0,   0,   0};
  EXPECT_EQ(dateiBytes(pfad), soll);
}

TEST_F(WriteWav, EncodesWithScale32767TowardZero) {
  const std::vector<float> samples = {0.0F,        1.0F,     1.5F,      NAN32,  INF32,    -1.0F,
                                      -2.0F,       -INF32,   0.5F,      -0.5F,  0.99999F, -0.99999F,
                                      0.99999994F, 0.00003F, -0.00003F, 0.0001F};
  WavBytes soll = WavBytes::kopf(16000, 32);
  for (const int wert : {0, 32767, 32767, 32767, 32767, -32767, -32767, -32767, 16383, -16383,
                         32766, -32766, 32766, 0, 0, 3}) {
    soll.s16(wert);
  }
  ASSERT_TRUE(writeWav(samples, 16000.0, pfad).gelungen());
  EXPECT_EQ(dateiBytes(pfad), soll.bytes);
}

TEST_F(WriteWav, CutsTheRateToAnInteger) {
  const std::vector<float> eins = {0.25F};
  const std::pair<double, std::uint32_t> faelle[] = {
      {44100.9, 44100}, {0.0, 0}, {-0.999, 0}, {2147483647.5, 2147483647}};
  for (const auto& [rate, feld] : faelle) {
    ASSERT_TRUE(writeWav(eins, rate, pfad).gelungen());
    EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(eins, feld)) << rate;
  }
}

TEST_F(WriteWav, ImpossibleRatesAndLengthsStopTheProcess) {
  const std::vector<float> eins = {0.25F};
  const auto abgebrochen = testing::KilledBySignal(SIGABRT);
  for (const double rate : {std::nan(""), INF64, -INF64, -1.0, -16000.0, 2147483648.0, 1e300}) {
    EXPECT_EXIT((void)writeWav(eins, rate, pfad), abgebrochen,
                R"(\[hallkorb\] Abbruch: WAV-Datei: keine gueltige Rate)");
  }
  EXPECT_EXIT((void)wavRate(-1.5), abgebrochen, "keine gueltige Rate: -1.5 Hz");
  EXPECT_EQ(wavBytes(2147483629), 4294967258U);
  // The length is refused before a sample is looked at.
  for (const std::size_t anzahl : {std::size_t{2147483630}, std::size_t{1} << 31U}) {
    EXPECT_EXIT((void)writeWav(std::span(eins.data(), anzahl), 16000.0, pfad), abgebrochen,
                R"(\[hallkorb\] Abbruch: WAV-Datei: zu viele Samples: [0-9]+)");
  }
  EXPECT_TRUE(ordner.namen().empty());
}

TEST_F(WriteWav, TheOutputMayBeTheInput) {
  const std::vector<float> samples = {0.0F, 0.5F, -0.5F, 0.25F};
  ASSERT_TRUE(writeWav(samples, 16000.0, pfad).gelungen());
  auto gelesen = liesWav(pfad);
  ASSERT_TRUE(gelesen);
  for (float& x : *gelesen)
    x = -x;
  ASSERT_TRUE(writeWav(*gelesen, 16000.0, pfad).gelungen());
  EXPECT_EQ(dateiBytes(pfad), WavBytes::datei(*gelesen, 16000));
  EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a.wav"});
}

TEST(LiesWav, ReadsBackWhatWasWrittenOnTheOtherScale) {
  const TempOrdner ordner;
  const std::vector<float> samples = {0.0F, 1.0F, -1.0F, 0.5F};
  ASSERT_TRUE(writeWav(samples, 16000.0, ordner / "a.wav").gelungen());
  const std::vector<float> soll = {0.0F, 32767.0F / 32768.0F, -32767.0F / 32768.0F,
                                   16383.0F / 32768.0F};
  EXPECT_EQ(liesWav(ordner / "a.wav"), soll);
}

TEST(LiesWav, TheLowestValueIsMinusOne) {
  WavBytes b = fremderKopf(1, 4);
  b.s16(-32768).s16(32767);
  EXPECT_EQ(liesBytes(b.bytes), (std::vector<float>{-1.0F, 0.999969482421875F}));
}

TEST(LiesWav, TakesTheLeftOfTwoChannels) {
  WavBytes b = fremderKopf(2, 12);
  b.s16(16384).s16(1).s16(-16384).s16(2).s16(8192).s16(3);
  EXPECT_EQ(liesBytes(b.bytes), (std::vector<float>{0.5F, -0.5F, 0.25F}));
}

TEST(LiesWav, SkipsThePadByteOfAnOddBlock) {
  WavBytes b;
  b.wort("RIFF").u32(0).wort("WAVE");
  b.wort("LIST").u32(3).wort("abc").wort("\xFF");
  b.wort("fmt ").u32(16).u16(1).u16(1).u32(16000).u32(32000).u16(2).u16(16);
  b.wort("data").u32(2).s16(16384);
  EXPECT_EQ(liesBytes(b.bytes), std::vector<float>{0.5F});
}

TEST(LiesWav, WithoutAFormatBlockThereIsOneChannel) {
  WavBytes b;
  b.wort("....").u32(0).wort("....");  // these words are not looked at
  b.wort("LIST").u32(20).wort("12345678901234567890");
  b.wort("data").u32(4).s16(16384).s16(-16384);
  EXPECT_EQ(liesBytes(b.bytes), (std::vector<float>{0.5F, -0.5F}));
}

TEST(LiesWav, NoChannelCountsAsOne) {
  WavBytes b = fremderKopf(0, 4);
  b.s16(16384).s16(-16384);
  EXPECT_EQ(liesBytes(b.bytes), (std::vector<float>{0.5F, -0.5F}));
}

TEST(LiesWav, AFileOfABareHeaderIsNothing) {
  const WavBytes b = fremderKopf(1, 0);
  ASSERT_EQ(b.bytes.size(), 44U);
  EXPECT_EQ(dekodiereWav(b.bytes), std::nullopt);
  EXPECT_EQ(dekodiereWav({}), std::nullopt);
}

TEST(LiesWav, AnEmptyDataBlockIsAnEmptyList) {
  WavBytes b = fremderKopf(1, 0);
  b.wort("x");
  EXPECT_EQ(dekodiereWav(b.bytes), std::vector<float>{});
}

TEST(LiesWav, ATruncatedFileIsReadAsFarAsItGoes) {
  WavBytes b = fremderKopf(1, 0xFFFFFFFFU);
  b.s16(16384).s16(8192).wort("x");
  EXPECT_EQ(liesBytes(b.bytes), (std::vector<float>{0.5F, 0.25F}));
}

// The same file in pieces of any length, from a disk that reads a few bytes at a time.
TEST(LiesWav, ComesOutTheSameInWhateverPieces) {
  std::mt19937 zufall(20240321);
  const auto bis = [&](std::uint32_t grenze) {
    return static_cast<std::uint32_t>(zufall() % (grenze + 1));
  };
  for (int lauf = 0; lauf < 2000; ++lauf) {
    WavBytes b;
    b.wort("RIFF").u32(0).wort("WAVE");
    const std::uint32_t kanaele = bis(3);
    for (std::uint32_t block = bis(3); block > 0; --block) {
      const std::uint32_t laenge = bis(9);
      if (bis(1) == 0) {
        // Declares any length; its channel count is read all the same.
        b.wort("fmt ").u32(laenge).u16(1).u16(kanaele);
      } else {
        b.wort("LIST").u32(laenge).wort(std::string(laenge + laenge % 2, 'x'));
      }
    }
    b.wort("data").u32(bis(3) == 0 ? 0xFFFFFFFFU : bis(60));
    for (std::uint32_t i = bis(70); i > 0; --i)
      b.wort(std::string(1, static_cast<char>(bis(255))));

    const auto soll = dekodiereGanz(b.bytes);
    WavLeser leser(bis(100));
    std::span<const std::uint8_t> rest(b.bytes);
    while (!rest.empty()) {
      const std::size_t n = std::min<std::size_t>(1 + bis(20), rest.size());
      leser.nimm(rest.first(n));
      rest = rest.subspan(n);
    }
    ASSERT_EQ(leser.ende(), soll) << lauf;
    ASSERT_EQ(dekodiereWav(b.bytes), soll) << lauf;
  }
}

TEST(LiesWav, AReadThatFailsHalfWayIsNothing) {
  const TempOrdner ordner;
  FehlerDateien dateien;
  ASSERT_TRUE(writeWav(std::vector<float>(50000, 0.25F), 16000.0, ordner / "a.wav").gelungen());
  dateien.kurz(999);
  const auto gelesen = liesWav(ordner / "a.wav", dateien);
  ASSERT_TRUE(gelesen);
  EXPECT_EQ(gelesen->size(), 50000U);
  EXPECT_EQ(gelesen->capacity(), 50000U);  // room was made once
  dateien.scheitere(FehlerDateien::Ruf::lesen, 50, EIO);
  EXPECT_EQ(liesWav(ordner / "a.wav", dateien), std::nullopt);
}

TEST(LiesWav, WhatFollowsTheDataIsNotRead) {
  WavBytes b = fremderKopf(1, 2);
  b.s16(16384).s16(8192);
  EXPECT_EQ(liesBytes(b.bytes), std::vector<float>{0.5F});
}

TEST(LiesWav, APartialFrameIsIgnored) {
  WavBytes b = fremderKopf(2, 7);
  b.s16(16384).s16(1).s16(8192).wort("x");
  EXPECT_EQ(liesBytes(b.bytes), std::vector<float>{0.5F});
}

// Its channel count is then what the next block begins with.
TEST(LiesWav, AFormatBlockEndsWhereItSaysEvenIfThatIsTooEarly) {
  WavBytes b;
  b.wort("RIFF").u32(0).wort("WAVE");
  b.wort("fmt ").u32(2).u16(1);
  constexpr std::uint32_t FRAME = 2 * ('d' + 256 * 'a');
  b.wort("data").u32(2 * FRAME);
  for (const int wert : {16384, -16384})
    b.s16(wert).wort(std::string(FRAME - 2, 'x'));
  EXPECT_EQ(liesBytes(b.bytes), (std::vector<float>{0.5F, -0.5F}));
}

TEST(LiesWav, WithoutADataBlockThereIsNothing) {
  WavBytes b;
  b.wort("RIFF").u32(0).wort("WAVE");
  b.wort("fmt ").u32(16).u16(1).u16(1).u32(16000).u32(32000).u16(2).u16(16);
  b.wort("LIST").u32(1).wort("x");
  EXPECT_EQ(dekodiereWav(b.bytes), std::nullopt);
  // Neither when a block reaches beyond the end, nor when the next header is cut off.
  WavBytes weit;
  weit.wort("RIFF").u32(0).wort("WAVE").wort("LIST").u32(0xFFFFFFFFU);
  weit.bytes.resize(100);
  EXPECT_EQ(dekodiereWav(weit.bytes), std::nullopt);
  WavBytes knapp;
  knapp.wort("RIFF").u32(0).wort("WAVE").wort("LIST").u32(80);
  knapp.bytes.resize(100);
  knapp.wort("data").wort("\x01\x01\x01");
  EXPECT_EQ(dekodiereWav(knapp.bytes), std::nullopt);
}

TEST(LiesWav, AFormatBlockAtTheEndIsNothing) {
  WavBytes b;
  b.wort("RIFF").u32(0).wort("WAVE").wort("LIST").u32(26);
  b.bytes.resize(46);
  b.wort("fmt ").u32(0).wort("x");
  EXPECT_EQ(dekodiereWav(b.bytes), std::nullopt);
}

TEST(LiesWav, WhatIsNoReadableFileIsNothing) {
  const TempOrdner ordner;
  EXPECT_EQ(liesWav(ordner / "fehlt.wav"), std::nullopt);
  EXPECT_EQ(liesWav(ordner.pfad()), std::nullopt);
  EXPECT_EQ(liesWav(""), std::nullopt);
}

}  // namespace
}  // namespace hallkorb
