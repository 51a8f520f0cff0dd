// Files read and written piece by piece are those read and written in one go.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "audiofiles/Wav.h"
#include "audiofiles/WavSchreiber.h"
#include "audiofiles/WavStrom.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;

std::vector<float> rampe(std::size_t anzahl) {
  std::vector<float> samples(anzahl);
  for (std::size_t i = 0; i < anzahl; ++i)
    samples[i] = static_cast<float>(i % 20001) / 10000.0F - 1.0F;
  return samples;
}

// All samples, read in pieces of `stueck`; nullopt if opening or reading fails.
std::optional<std::vector<float>> gelesen(const std::string& pfad, std::size_t stueck,
                                          Dateien& dateien = posixDateien()) {
  const auto strom = WavStrom::oeffne(pfad, dateien);
  if (!strom) return std::nullopt;
  std::vector<float> alle;
  std::vector<float> puffer(stueck);
  for (;;) {
    const auto n = strom->lies(puffer);
    if (!n) return std::nullopt;
    alle.insert(alle.end(), puffer.begin(), puffer.begin() + static_cast<std::ptrdiff_t>(*n));
    if (*n < stueck) return alle;
  }
}

TEST(WavStromTest, YieldsTheSamplesOfLiesWavInPiecesOfAnyLength) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a.wav";
  for (const std::size_t laenge : {0U, 1U, 4799U, 4800U, 100000U}) {
    ASSERT_TRUE(writeWav(rampe(laenge), 16000.0, pfad).gelungen());
    if (laenge == 0) {
      EXPECT_EQ(gelesen(pfad, 10), liesWav(pfad));  // 44 bytes are no file
      continue;
    }
    for (const std::size_t stueck : {1U, 4800U, 1000000U})
      EXPECT_EQ(gelesen(pfad, stueck), liesWav(pfad)) << laenge << " " << stueck;
  }
}

TEST(WavStromTest, TheRateIsWhatTheFileDeclares) {
  const TempOrdner ordner;
  ASSERT_TRUE(writeWav(rampe(100), 48000.0, ordner / "a.wav").gelungen());
  const auto strom = WavStrom::oeffne(ordner / "a.wav");
  ASSERT_TRUE(strom);
  EXPECT_EQ(strom->rate(), 48000U);
  std::vector<float> puffer(200);
  EXPECT_EQ(strom->lies(puffer), 100U);
  EXPECT_EQ(strom->rate(), 48000U);
}

TEST(WavStromTest, ItsFileIsClosedWithIt) {
  const TempOrdner ordner;
  ASSERT_TRUE(writeWav(rampe(100), 16000.0, ordner / "a.wav").gelungen());
  FehlerDateien dateien;
  EXPECT_TRUE(WavStrom::oeffne(ordner / "a.wav", dateien));
  EXPECT_EQ(dateien.rufe(FehlerDateien::Ruf::schliessen), 1U);
}

TEST(WavStromTest, ReadsAFileThatDeclaresMoreThanItHolds) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a.wav";
  ASSERT_TRUE(writeWav(rampe(50000), 16000.0, pfad).gelungen());
  std::filesystem::resize_file(pfad, 44 + 2 * 30000 + 1);
  const auto samples = gelesen(pfad, 4800);
  ASSERT_TRUE(samples);
  EXPECT_EQ(samples->size(), 30000U);
  EXPECT_EQ(samples, liesWav(pfad));
}

TEST(WavStromTest, DoesNotReadOnBehindTheSamples) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a.wav";
  ASSERT_TRUE(writeWav(rampe(1000), 16000.0, pfad).gelungen());
  std::filesystem::resize_file(pfad, std::uintmax_t{1} << 40U);  // sparse
  FehlerDateien dateien;
  EXPECT_EQ(gelesen(pfad, 300, dateien)->size(), 1000U);
  EXPECT_EQ(dateien.rufe(Ruf::lesen), 1U);
}

TEST(WavStromTest, RefusesWhatIsNoRegularFileWithoutOpeningIt) {
  const TempOrdner ordner;
  ASSERT_EQ(::mkfifo((ordner / "rohr").c_str(), 0600), 0);
  for (const std::string& pfad :
       {ordner / "rohr", std::string("/dev/zero"), ordner.pfad(), ordner / "fehlt"}) {
    FehlerDateien dateien;
    EXPECT_EQ(WavStrom::oeffne(pfad, dateien), nullptr) << pfad;
    EXPECT_EQ(dateien.rufe(Ruf::oeffnen), 0U);
  }
}

TEST(WavStromTest, AReadErrorIsNoEnd) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a.wav";
  ASSERT_TRUE(writeWav(rampe(100000), 16000.0, pfad).gelungen());
  for (std::size_t n = 0; n < 3; ++n) {
    FehlerDateien dateien;
    dateien.scheitere(Ruf::lesen, n, EIO);
    EXPECT_EQ(gelesen(pfad, 4800, dateien), std::nullopt) << n;
  }
  FehlerDateien dateien;
  dateien.kurz(7);
  dateien.scheitere(Ruf::lesen, 2, EINTR);
  EXPECT_EQ(gelesen(pfad, 4800, dateien), liesWav(pfad));
}

TEST(WavSchreiberTest, WritesTheFileOfWriteWav) {
  const TempOrdner ordner;
  for (const std::size_t laenge : {0U, 1U, 32745U, 32746U, 100000U}) {
    const auto samples = rampe(laenge);
    ASSERT_TRUE(writeWav(samples, 16000.0, ordner / "soll.wav").gelungen());
    WavSchreiber schreiber(ordner / "a.wav", 16000.0);
    for (std::size_t i = 0; i < laenge; i += 256)
      schreiber.schreibe(std::span(samples).subspan(i, std::min<std::size_t>(256, laenge - i)));
    EXPECT_TRUE(schreiber.vollende().gelungen());
    EXPECT_EQ(schreiber.samples(), laenge);
    EXPECT_EQ(dateiBytes(ordner / "a.wav"), dateiBytes(ordner / "soll.wav"));
  }
}

TEST(WavSchreiberTest, LeavesNothingBehindUnlessItIsCompleted) {
  const TempOrdner ordner;
  {
    WavSchreiber(ordner / "a.wav", 16000.0).schreibe(rampe(100000));
  }
  EXPECT_TRUE(ordner.namen().empty());
}

// Whatever fails, the earlier file stays and nothing lies beside it.
TEST(WavSchreiberTest, AnyFailureIsReportedAtTheEnd) {
  const TempOrdner ordner;
  const std::string pfad = ordner / "a.wav";
  ASSERT_TRUE(writeWav(rampe(10), 16000.0, pfad).gelungen());
  const auto alt = dateiBytes(pfad);
  for (const Ruf ruf : {Ruf::verweis, Ruf::zustand, Ruf::oeffnen, Ruf::schreiben, Ruf::schreibenAn,
                        Ruf::schliessen, Ruf::umbenennen}) {
    FehlerDateien dateien;
    dateien.scheitere(ruf, 0, ENOSPC);
    WavSchreiber schreiber(pfad, 16000.0, dateien);
    schreiber.schreibe(rampe(100000));
    const Ergebnis ergebnis = schreiber.vollende();
    ASSERT_TRUE(ergebnis.gescheitert());
    EXPECT_EQ(ergebnis.fehler().code, ENOSPC);
    EXPECT_EQ(dateiBytes(pfad), alt);
    EXPECT_EQ(ordner.namen(), std::vector<std::string>{"a.wav"});
  }
}

}  // namespace
}  // namespace hallkorb
