// The video file write by write: whatever the last one was that reached the disk, it plays.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/video/FragmentDatei.h"
#include "platform/linux/video/H264Kodierer.h"
#include "platform/linux/video/Letterbox.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/Ffmpeg.h"
#include "tests/support/Prozess.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/Testbild.h"

namespace hallkorb {
namespace {

constexpr VideoEinstellungen EINSTELLUNGEN{640, 400, 1'400'000, 10, 15.0};
constexpr int BILDER = 36;
constexpr std::int64_t ENDE = 4 * H264Kodierer::TICKS;

using Bytes = std::vector<std::uint8_t>;

// The real files, and what is written into them.
class Mitschrift : public FehlerDateien {
 public:
  struct Schreibvorgang {
    std::int64_t stelle;
    Bytes bytes;
  };

  ssize_t schreibenAn(int datei, std::span<const std::uint8_t> bytes,
                      std::int64_t stelle) override {
    vorgaenge.push_back({stelle, {bytes.begin(), bytes.end()}});
    return FehlerDateien::schreibenAn(datei, bytes, stelle);
  }

  std::vector<Schreibvorgang> vorgaenge;
};

class FragmentDatei : public testing::Test {
 protected:
  FragmentDatei() { schweigeLibav(); }

  // Records moving pictures with uneven times; a fragment is finished after every tenth.
  [[nodiscard]] Ergebnis nimmAuf(hallkorb::FragmentDatei& datei, int anzahl = BILDER) const {
    H264Kodierer kodierer;
    const LibavZeiger<AVFrame> rahmen(av_frame_alloc());
    rahmen->format = AV_PIX_FMT_YUV420P;
    rahmen->width = EINSTELLUNGEN.breite;
    rahmen->height = EINSTELLUNGEN.hoehe;
    EXPECT_GE(av_frame_get_buffer(rahmen.get(), 0), 0);
    Ergebnis ergebnis = kodierer.oeffne(EINSTELLUNGEN, *H264Kodierer::vorhandene());
    if (ergebnis.gelungen()) ergebnis = datei.beginne(pfad_, kodierer.strom());
    Letterbox letterbox;
    Testbild bild(640, 400, 0x2060A0);
    for (int i = 0; i < anzahl && ergebnis.gelungen(); ++i) {
      bild.fuelle(i * 17 % 600, 0, 40, 400, 0xE0C020);
      EXPECT_TRUE(letterbox.zeichne(bild.alsBild(0.0), *rahmen).gelungen());
      rahmen->pts = zeit(i);
      AVPacket* paket = nullptr;
      ergebnis = kodierer.kodiere(*rahmen, paket);
      if (ergebnis.gelungen()) ergebnis = datei.schreibe(*paket);
      if (ergebnis.gelungen() && i % 10 == 9) ergebnis = datei.sichere();
      if (ergebnis.gelungen() && i == 25) ergebnis = datei.verlaengere(zeit(i) + 123);
    }
    return ergebnis;
  }
  static std::int64_t zeit(int nummer) {
    return std::int64_t{nummer} * H264Kodierer::TICKS / 15 + nummer % 3 * 100;
  }

  // Time and content of each decoded picture. How long one lasts in a fragment, demuxers do not
  // agree on.
  static std::string bilder(const std::string& pfad) {
    return Prozess({"sh", "-c",
                    "ffmpeg -nostdin -v warning -i \"$0\" -fps_mode passthrough -enc_time_base "
                    "1:90000 -f framemd5 - 2>&1 | cut -d, -f3,6",
                    pfad})
        .liesAlles();
  }
  // The samples that ffprobe finds, by their bytes.
  static std::string pakete(const std::string& pfad) {
    return Prozess({"ffprobe", "-v", "warning", "-show_packets", "-show_data_hash", "md5",
                    "-show_entries", "packet=pts,size,data_hash", "-of", "csv", pfad})
        .liesAlles();
  }

  TempOrdner ordner_;
  const std::string pfad_ = ordner_ / "video.mp4";
  Mitschrift dateien_;
};

TEST_F(FragmentDatei, FinishedItHasTheSamplesOfItsFragmentsWhereTheyWere) {
  {
    hallkorb::FragmentDatei datei(dateien_);
    ASSERT_TRUE(nimmAuf(datei).gelungen());
    ASSERT_TRUE(datei.sichere().gelungen());
    ASSERT_TRUE(datei.verlaengere(ENDE).gelungen());
    const std::string fragmente = ordner_ / "fragmente.mp4";
    std::filesystem::copy_file(pfad_, fragmente);
    const auto groesse = std::filesystem::file_size(pfad_);
    dateien_.vorgaenge.clear();
    ASSERT_TRUE(datei.schliesseAb(ENDE).gelungen());
    EXPECT_EQ(pakete(pfad_), pakete(fragmente));
    EXPECT_EQ(bilder(pfad_), bilder(fragmente));
    // A few bytes for each sample, no second copy.
    EXPECT_LT(std::filesystem::file_size(pfad_), groesse + 1000 + 40 * BILDER);
    std::size_t geschrieben = 0;
    for (const auto& vorgang : dateien_.vorgaenge)
      geschrieben += vorgang.bytes.size();
    EXPECT_LT(geschrieben, 1000U + 40U * BILDER);
  }
  EXPECT_EQ(ordner_.namen(), (std::vector<std::string>{"fragmente.mp4", "video.mp4"}));
  auto ist = videoEigenschaften(pfad_);
  EXPECT_EQ(ist["nb_frames"], std::to_string(BILDER));
  EXPECT_NEAR(std::stod(ist["format.duration"]), 4.0, 0.001);
  const auto alle = videoPakete(pfad_);
  ASSERT_EQ(alle.size(), std::size_t{BILDER});
  for (int i = 0; i < BILDER; ++i)
    EXPECT_NEAR(alle[static_cast<std::size_t>(i)].zeit,
                static_cast<double>(zeit(i)) / H264Kodierer::TICKS, 1e-5);
}

TEST_F(FragmentDatei, WithoutMemoryForItsBufferItIsAFileThatCannotBeBegun) {
  H264Kodierer kodierer;
  ASSERT_TRUE(kodierer.oeffne(EINSTELLUNGEN, *H264Kodierer::vorhandene()).gelungen());
  void* avutil =
      ::dlopen(("libavutil.so." + std::to_string(LIBAVUTIL_VERSION_MAJOR)).c_str(), RTLD_NOW);
  ASSERT_NE(avutil, nullptr);
  const auto begrenze =
      reinterpret_cast<decltype(&::av_max_alloc)>(::dlsym(avutil, "av_max_alloc"));
  ASSERT_NE(begrenze, nullptr);
  hallkorb::FragmentDatei datei(dateien_);
  begrenze(60'000);
  const Ergebnis ergebnis = datei.beginne(pfad_, kodierer.strom());
  begrenze(std::numeric_limits<int>::max());
  ::dlclose(avutil);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, ENOMEM);
}

// What was safe before stays, and no fragment comes twice or half.
TEST_F(FragmentDatei, WithoutMemoryItEndsWithAWholeFragment) {
  constexpr int BIS = 15;  // ten of them are safe
  {
    hallkorb::FragmentDatei datei(dateien_);
    ASSERT_TRUE(nimmAuf(datei, BIS).gelungen());
    ASSERT_TRUE(datei.schliesseAb(ENDE).gelungen());
  }
  const std::string alle = pakete(pfad_);
  bool gescheitert = true;
  for (std::size_t n = 0; gescheitert; ++n) {
    SCOPED_TRACE(n);
    hallkorb::FragmentDatei datei(dateien_);
    ASSERT_TRUE(nimmAuf(datei, BIS).gelungen());
    speicherwacht::scheitere(n, n % 2 == 1);  // and with it those that follow
    Ergebnis ergebnis = datei.sichere();
    ergebnis = ergebnis.gelungen() ? datei.schliesseAb(ENDE) : datei.schliesse();
    gescheitert = speicherwacht::rufe() > n;
    speicherwacht::scheitereNicht();
    const std::string da = pakete(pfad_);
    EXPECT_EQ(alle.substr(0, da.size()), da);
    EXPECT_GE(std::count(da.begin(), da.end(), '\n'), gescheitert ? 10 : BIS);
  }
}

TEST_F(FragmentDatei, FinishedItIsNoLongerInFragments) {
  hallkorb::FragmentDatei datei(dateien_);
  ASSERT_TRUE(nimmAuf(datei).gelungen());
  ASSERT_TRUE(datei.schliesseAb(ENDE).gelungen());
  const Bytes bytes = dateiBytes(pfad_);
  // One box after the other, the long one with its length of eight bytes.
  std::vector<std::string> namen;
  for (std::size_t stelle = 0; stelle < bytes.size();) {
    Mp4Zahlen zahlen(Mp4Bytes(bytes).subspan(stelle));
    std::uint64_t laenge = zahlen.vier();
    namen.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(stelle) + 4,
                       bytes.begin() + static_cast<std::ptrdiff_t>(stelle) + 8);
    zahlen.ueberspringe(4);
    if (laenge == 1) laenge = zahlen.acht();
    ASSERT_GE(laenge, 8U);
    stelle += laenge;
    ASSERT_LE(stelle, bytes.size());
  }
  EXPECT_EQ(namen, (std::vector<std::string>{"ftyp", "mdat", "moov"}));
}

// The process may be killed between any two writes, and in the middle of one. Every state that the
// file passes through while it is finished has all its pictures.
TEST_F(FragmentDatei, KilledWhileItIsFinishedItLosesNothing) {
  hallkorb::FragmentDatei datei(dateien_);
  ASSERT_TRUE(nimmAuf(datei).gelungen());
  ASSERT_TRUE(datei.sichere().gelungen());
  ASSERT_TRUE(datei.verlaengere(ENDE).gelungen());
  Bytes bytes = dateiBytes(pfad_);
  const std::string erwartet = pakete(pfad_);
  const std::string gezeigt = bilder(pfad_);
  const auto vorher = static_cast<std::ptrdiff_t>(dateien_.vorgaenge.size());
  ASSERT_TRUE(datei.schliesseAb(ENDE).gelungen());
  const std::vector<Mitschrift::Schreibvorgang> ende(dateien_.vorgaenge.begin() + vorher,
                                                     dateien_.vorgaenge.end());
  ASSERT_EQ(ende.size(), 3U);
  const std::string probe = ordner_ / "probe.mp4";
  for (const auto& [stelle, neu] : ende) {
    // Every byte of the short ones, and of the long one those where a box or its content begins.
    std::vector<std::size_t> weiten{0, 1, 4, 8, 9, 16, neu.size() / 2, neu.size() - 1, neu.size()};
    if (neu.size() == 8) weiten = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const std::size_t weite : weiten) {
      SCOPED_TRACE(testing::Message() << weite << " bytes at " << stelle);
      const auto ab = static_cast<std::size_t>(stelle);
      bytes.resize(std::max(bytes.size(), ab + weite));
      std::copy_n(neu.begin(), weite, bytes.begin() + stelle);
      legeAn(probe, bytes);
      EXPECT_EQ(pakete(probe), erwartet);
      if (weite == neu.size() || weite == neu.size() / 2) {
        EXPECT_EQ(bilder(probe), gezeigt);
      }
    }
  }
  EXPECT_EQ(bytes, dateiBytes(pfad_));
}

// Each operation fails in turn: what the file holds by then plays, and what it holds is reported.
TEST_F(FragmentDatei, AFailedOperationLeavesWhatWasSafe) {
  std::size_t rufe = 0;
  {
    hallkorb::FragmentDatei datei(dateien_);
    ASSERT_TRUE(nimmAuf(datei).gelungen());
    ASSERT_TRUE(datei.schliesseAb(ENDE).gelungen());
    rufe = dateien_.rufe();
  }
  const std::string alles = pakete(pfad_);
  const Bytes ganz = dateiBytes(pfad_);
  for (const int nummer : {ENOSPC, EINTR, FehlerDateien::KURZ}) {
    for (std::size_t n = 0; n < rufe; ++n) {
      SCOPED_TRACE(testing::Message() << "operation " << n << " error " << nummer);
      FehlerDateien dateien;
      dateien.scheitere(n, nummer);
      hallkorb::FragmentDatei datei(dateien);
      Ergebnis ergebnis = nimmAuf(datei);
      ergebnis = ergebnis.gelungen() ? datei.schliesseAb(ENDE) : datei.schliesse();
      if (nummer == ENOSPC) {
        if (!std::filesystem::exists(pfad_)) continue;
        const std::string da = pakete(pfad_);
        EXPECT_EQ(alles.substr(0, da.size()), da);
      } else {
        EXPECT_EQ(dateiBytes(pfad_), ganz);
      }
    }
  }
}

TEST_F(FragmentDatei, ADiskThatFillsUpIsReported) {
  dateien_.scheitere(FehlerDateien::Ruf::schreibenAn, 3, ENOSPC, FehlerDateien::IMMER);
  hallkorb::FragmentDatei datei(dateien_);
  EXPECT_EQ(nimmAuf(datei), Fehler::ausErrno(ENOSPC, "Videodatei"));
  EXPECT_TRUE(datei.schliesse().gelungen());
  EXPECT_EQ(videoPakete(pfad_).size(), 10U);
  EXPECT_EQ(dekodierFehler(pfad_), "");
}

TEST_F(FragmentDatei, WithoutASampleThereIsNothingToFinish) {
  hallkorb::FragmentDatei datei(dateien_);
  ASSERT_TRUE(nimmAuf(datei, 0).gelungen());
  EXPECT_EQ(datei.schliesseAb(ENDE).fehler().domain, "libav");
  EXPECT_EQ(videoEigenschaften(pfad_)["codec_name"], "h264");
}

}  // namespace
}  // namespace hallkorb
