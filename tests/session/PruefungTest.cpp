// Every way in which a recorded folder can be wrong, one at a time.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "session/Lesedatei.h"
#include "session/Mp4Befund.h"
#include "tests/session/Ordnerbau.h"

namespace hallkorb {
namespace {

using Namen = std::vector<std::string>;

class Pruefung : public testing::Test {
 protected:
  void SetUp() override {
    bau_.start();
    bau_.chunk("me", 0, 0.0, 1.0);
    bau_.chunk("them", 0, 0.0, 1.5);
    bau_.chunk("me", 1, 1.0, 2.13);
    bau_.wav(ROHDATEI, 0, 48000);
  }
  Ordnerbau bau_;
};

TEST_F(Pruefung, AWholeRecordingHasNoFindings) {
  bau_.ende();
  EXPECT_EQ(bau_.pruefe(), std::vector<Befund>{});
}

TEST_F(Pruefung, AKilledRecordingIsCutOff) {
  EXPECT_EQ(bau_.auffaellig(),
            (Namen{"abgeschnitten ereignisse.jsonl", "abgeschnitten mikro_roh.wav"}));
}

TEST_F(Pruefung, AnAnnouncedFileThatIsNotThere) {
  bau_.ende();
  std::filesystem::remove(bau_ / "chunk_me_001.wav");
  EXPECT_EQ(bau_.auffaellig(), Namen{"fehlt chunk_me_001.wav"});
}

TEST_F(Pruefung, AFileThatDeclaresMoreThanItHas) {
  bau_.ende();
  bau_.kuerze("chunk_them_000.wav", 2000);
  // Against its header and against its line.
  EXPECT_EQ(bau_.auffaellig(),
            (Namen{"abgeschnitten chunk_them_000.wav", "abgeschnitten chunk_them_000.wav"}));
}

TEST_F(Pruefung, AFileThatDeclaresLessThanItHas) {
  bau_.ende();
  bau_.setze(ROHDATEI, 40, 2000);
  EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten mikro_roh.wav"});
}

TEST_F(Pruefung, TheTwoLengthsOfAHeaderContradictEachOther) {
  bau_.ende();
  bau_.setze("chunk_me_000.wav", 4, 0xFFFFFFFF);
  EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten chunk_me_000.wav"});
}

TEST_F(Pruefung, AHeaderThatIsNone) {
  bau_.ende();
  bau_.kuerze("chunk_me_000.wav", 20);
  bau_.setze("chunk_me_001.wav", 0, 0);
  bau_.setze("chunk_them_000.wav", 24, 0);  // a rate of 0
  EXPECT_EQ(bau_.auffaellig(),
            (Namen{"abgeschnitten chunk_me_000.wav", "zweifelhaft chunk_me_001.wav",
                   "zweifelhaft chunk_them_000.wav"}));
}

TEST_F(Pruefung, ALineThatPromisesAnotherLength) {
  bau_.zeile(R"({"chunk":1,"channel":"them","path":"chunk_them_001.wav","t0":2.00,"t1":3.00})");
  bau_.wav("chunk_them_001.wav", 0, 20000);
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(), Namen{"zweifelhaft chunk_them_001.wav"});
}

TEST_F(Pruefung, APathThatLeadsElsewhereIsNotFollowed) {
  bau_.wav("chunk_them_001.wav", 0, 16000);
  bau_.chunkZeile("them", 1, 2.0, 3.0, "../../etc/passwd");
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(), Namen{"zweifelhaft chunk_them_001.wav"});
}

TEST_F(Pruefung, ChunksThatOverlapOrComeTwice) {
  bau_.chunk("me", 2, 2.0, 3.0);
  bau_.chunkZeile("them", 0, 0.0, 1.5, "chunk_them_000.wav");
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(),
            (Namen{"zweifelhaft chunk_me_002.wav", "zweifelhaft chunk_them_000.wav"}));
}

TEST_F(Pruefung, ANumberThatWasUsedUp) {
  bau_.chunk("me", 3, 2.13, 2.5);
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(), Namen{"fehlt chunk_me_002.wav"});
}

TEST_F(Pruefung, FilesWithoutALineAndUnfinishedOnes) {
  bau_.wav("chunk_me_002.wav", 0, 100);
  legeAn(bau_ / ".hallkorb-17-3.teil", {1, 2});
  legeAn(bau_ / "video.mp4.neu", {});
  legeAn(bau_ / "notizen.txt", {1});
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(), (Namen{"uebrig .hallkorb-17-3.teil", "uebrig video.mp4.neu",
                                      "uebrig chunk_me_002.wav"}));
}

// The raw file is full after 18.6 hours, and the recording goes on without it.
TEST_F(Pruefung, AFullRawFileIsNotCutOff) {
  const std::string roh = bau_ / ROHDATEI;
  std::filesystem::resize_file(roh, 44 + std::uintmax_t{2147483610});  // takes no room
  bau_.setzeImOrt(ROHDATEI, 4, 36 + 2147483610U);
  bau_.setzeImOrt(ROHDATEI, 40, 2147483610U);
  bau_.chunk("me", 2, 2.13, 3.0);
  bau_.wav("chunk_me_003.wav", 0, 16000);
  bau_.chunkZeile("me", 3, 68000.0, 68001.0, "chunk_me_003.wav");
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(), Namen{});
  // One sample less, and it should have gone on.
  std::filesystem::resize_file(roh, 44 + std::uintmax_t{2147483608});
  bau_.setzeImOrt(ROHDATEI, 4, 36 + 2147483608U);
  bau_.setzeImOrt(ROHDATEI, 40, 2147483608U);
  EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten mikro_roh.wav"});
}

// No header can declare its samples, so none of them can be cut.
TEST_F(Pruefung, ARawFileWithoutAHeaderThatFitsPromisesNothing) {
  std::filesystem::resize_file(bau_ / ROHDATEI, (std::uintmax_t{1} << 32U) + 100);  // takes no room
  EXPECT_EQ(bau_.auffaellig(),
            (Namen{"abgeschnitten ereignisse.jsonl", "abgeschnitten mikro_roh.wav"}));
  EXPECT_TRUE(bau_.reparierbar().empty());
}

// A few bytes in an archive may become a file of a terabyte.
TEST_F(Pruefung, LinesWithoutEndAreNotReadToIt) {
  bau_.ende();
  std::filesystem::resize_file(bau_ / EREIGNISSE, std::uintmax_t{1} << 40U);  // takes no room
  EXPECT_EQ(bau_.auffaellig(), Namen{"zweifelhaft ereignisse.jsonl"});
  EXPECT_EQ(bau_.pruefe()[0].thema, Thema::zeilenende);
}

TEST_F(Pruefung, FilesOfAnotherRate) {
  bau_.ende();
  bau_.setze("chunk_me_001.wav", 24, 48000);
  EXPECT_EQ(bau_.auffaellig(),
            (Namen{"abgeschnitten chunk_me_001.wav", "zweifelhaft chunk_me_001.wav"}));
  bau_.setze("chunk_me_001.wav", 24, 16000);
  bau_.setze(ROHDATEI, 24, 15999);
  EXPECT_EQ(bau_.auffaellig(), Namen{"zweifelhaft mikro_roh.wav"});
  bau_.setze(ROHDATEI, 24, 16000);
  EXPECT_EQ(bau_.auffaellig(), Namen{});
  // Without lines nothing says that the file is too short; its rate is another one all the same.
  std::filesystem::remove(bau_ / EREIGNISSE);
  bau_.setze("chunk_me_001.wav", 24, 48000);
  EXPECT_EQ(bau_.auffaellig(), Namen{"zweifelhaft chunk_me_001.wav"});
}

TEST_F(Pruefung, AVideoThatWasBegunAndIsNotThere) {
  bau_.zeile(R"({"event":"video_start","quelle":"Zoom","t_s":0.5})");
  EXPECT_EQ(bau_.auffaellig(), (Namen{"abgeschnitten ereignisse.jsonl",
                                      "abgeschnitten mikro_roh.wav", "fehlt video.mp4"}));
  // After an orderly end the recorder would have announced one with pictures.
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(), Namen{});
  ASSERT_EQ(bau_.pruefe().size(), 1U);
  EXPECT_EQ(bau_.pruefe()[0].datei, VIDEODATEI);
  // A pause is none.
  std::filesystem::remove(bau_ / EREIGNISSE);
  bau_.start();
  bau_.zeile(R"({"event":"video_pause","message":"weg","t_s":0.5})");
  for (const Befund& befund : bau_.pruefe())
    EXPECT_NE(befund.datei, VIDEODATEI);
}

TEST(PruefungStart, AChannelThatTheFirstLineSaysIsMissing) {
  Ordnerbau bau;
  bau.zeile(R"({"event":"started","mic":false,"system":false})");
  bau.zeile(R"({"event":"done"})");
  bau.wav(ROHDATEI, 0, 16000);
  const auto befunde = bau.pruefe();
  ASSERT_EQ(befunde.size(), 2U);
  EXPECT_EQ(befunde[0].text, "das Mikrofon wurde nicht aufgenommen");
  EXPECT_EQ(befunde[1].text, "der Systemton wurde nicht aufgenommen");
  EXPECT_FALSE(istAuffaellig(befunde));
}

TEST_F(Pruefung, LinksAndPipesAreNotOpened) {
  bau_.ende();
  std::filesystem::remove(bau_ / ROHDATEI);
  std::filesystem::create_symlink("/etc/passwd", bau_ / ROHDATEI);
  ASSERT_EQ(::mkfifo((bau_ / VIDEODATEI).c_str(), 0600), 0);
  EXPECT_EQ(bau_.auffaellig(), (Namen{"zweifelhaft mikro_roh.wav", "zweifelhaft video.mp4"}));
}

TEST_F(Pruefung, WithoutLinesTheFilesAlone) {
  std::filesystem::remove(bau_ / EREIGNISSE);
  EXPECT_EQ(bau_.auffaellig(), Namen{});
  std::filesystem::remove(bau_ / "chunk_me_000.wav");
  bau_.setze(ROHDATEI, 40, 0);
  EXPECT_EQ(bau_.auffaellig(), (Namen{"fehlt chunk_me_000.wav", "abgeschnitten mikro_roh.wav"}));
}

TEST_F(Pruefung, WhatIsShownHoldsNoControlCharacters) {
  bau_.zeile("{\"event\":\"degraded\",\"message\":\"\x1b[31mrot\xC2\x9B\"}");
  bau_.ende();
  const auto befunde = bau_.pruefe();
  ASSERT_EQ(befunde.size(), 1U);
  EXPECT_EQ(befunde[0].text, "degraded: \xEF\xBF\xBD[31mrot\xEF\xBF\xBD");
}

TEST(PruefungLeer, AnEmptyFolderHoldsNoRecording) {
  const Ordnerbau bau;
  EXPECT_EQ(bau.auffaellig(), Namen{"fehlt "});
}

class VideoPruefung : public testing::Test {
 protected:
  void video(const Bytes& bytes) { legeAn(bau_ / VIDEODATEI, bytes); }
  Ordnerbau bau_;
};

TEST_F(VideoPruefung, AnOrdinaryFile) {
  Bytes bytes = mp4Anfang();
  // As the recorder leaves it: everything before the index is data with a length of eight bytes.
  vier(bytes, 1);
  for (const char zeichen : {'m', 'd', 'a', 't'})
    bytes.push_back(static_cast<std::uint8_t>(zeichen));
  vier(bytes, 0);
  vier(bytes, 16 + 40);
  bytes.insert(bytes.end(), 40, 0);
  mp4Kopf(bytes, 12, false);
  video(bytes);
  EXPECT_EQ(bau_.auffaellig(), Namen{});
  bau_.start();
  bau_.zeile(R"({"event":"video","path":"video.mp4","frames":12,"quelle":"Z"})");
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(), Namen{});
  std::filesystem::remove(bau_ / EREIGNISSE);
  bau_.start();
  bau_.zeile(R"({"event":"video","path":"video.mp4","frames":13,"quelle":"Z"})");
  bau_.ende();
  EXPECT_EQ(bau_.auffaellig(), Namen{"zweifelhaft video.mp4"});
  bytes.resize(bytes.size() - 1);
  video(bytes);
  EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten video.mp4"});
}

TEST_F(VideoPruefung, AFileInFragments) {
  Bytes bytes = mp4Anfang();
  mp4Kopf(bytes, 0, true);
  video(bytes);
  EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten video.mp4"});  // nothing can be seen
  mp4Fragment(bytes, 5);
  video(bytes);
  ASSERT_EQ(bau_.auffaellig(), Namen{"abgeschnitten video.mp4"});
  EXPECT_NE(bau_.pruefe().back().text.find("Fragmenten"), std::string::npos);
  mp4Fragment(bytes, 3);
  bytes.resize(bytes.size() - 7);
  video(bytes);
  EXPECT_EQ(bau_.auffaellig(), (Namen{"abgeschnitten video.mp4", "abgeschnitten video.mp4"}));
}

// Killed while it was finished: the new index is behind the fragments, and still hidden.
TEST_F(VideoPruefung, AHiddenIndexDoesNotCount) {
  Bytes bytes = mp4Anfang();
  kasten(bytes, "free", [&] { bytes.insert(bytes.end(), 8, 0); });
  mp4Kopf(bytes, 0, true);
  mp4Fragment(bytes, 5);
  kasten(bytes, "free", [&] { mp4Kopf(bytes, 5, false); });
  video(bytes);
  ASSERT_EQ(bau_.auffaellig(), Namen{"abgeschnitten video.mp4"});
  EXPECT_NE(bau_.pruefe().back().text.find("Fragmenten"), std::string::npos);
}

TEST_F(VideoPruefung, BoxesThatLie) {
  for (const std::uint32_t laenge : {0U, 1U, 2U, 7U, 0xFFFFFFFFU}) {
    Bytes bytes = mp4Anfang();
    vier(bytes, laenge);
    for (const char zeichen : {'m', 'o', 'o', 'v'})
      bytes.push_back(static_cast<std::uint8_t>(zeichen));
    video(bytes);
    EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten video.mp4"}) << laenge;
  }
  video({1, 2, 3});
  EXPECT_EQ(bau_.auffaellig(), Namen{"zweifelhaft video.mp4"});
  video({});
  EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten video.mp4"});
}

// Of a meeting of three days.
TEST_F(VideoPruefung, AMillionBoxesAreRead) {
  Bytes bytes = mp4Anfang();
  mp4Kopf(bytes, 0, true);
  for (int i = 0; i < 1'000'001; ++i)
    kasten(bytes, "free", [] {});
  mp4Fragment(bytes, 5);
  video(bytes);
  EXPECT_EQ(liesMp4Befund(*Lesedatei::oeffne(bau_ / VIDEODATEI)).bilder, 5);
}

TEST_F(VideoPruefung, IndexesWithoutEndAreNotReadToIt) {
  Bytes bytes = mp4Anfang();
  mp4Kopf(bytes, 0, true);
  mp4Fragment(bytes, 5);
  video(bytes);
  std::uintmax_t stelle = bytes.size();
  const auto box = [&](std::uint32_t laenge, const char* name) {
    std::filesystem::resize_file(bau_ / VIDEODATEI, stelle + laenge);  // takes no room
    Bytes kopf;
    vier(kopf, laenge);
    worte(kopf, name);
    std::fstream datei(bau_ / VIDEODATEI, std::ios::binary | std::ios::in | std::ios::out);
    datei.seekp(static_cast<std::streamoff>(stelle));
    for (const std::uint8_t byte : kopf)
      datei.put(static_cast<char>(byte));
    stelle += laenge;
  };
  for (int i = 0; i < 4; ++i)
    box(130U << 20U, "moof");
  box(8, "mdat");
  // In fragments, and from the second of the large ones on in doubt.
  EXPECT_EQ(bau_.auffaellig(), (Namen{"abgeschnitten video.mp4", "abgeschnitten video.mp4"}));
}

TEST_F(VideoPruefung, HowLongItLastsAndWhoseItIs) {
  const auto befund = [&](const Bytes& bytes) {
    video(bytes);
    return liesMp4Befund(*Lesedatei::oeffne(bau_ / VIDEODATEI));
  };
  Bytes ganz = mp4Anfang();
  mp4Kopf(ganz, 12, false, 214'300);
  EXPECT_DOUBLE_EQ(befund(ganz).dauer.value_or(0.0), 214.3);
  EXPECT_TRUE(befund(ganz).ausLibav);
  Bytes fremd = mp4Anfang();
  mp4Kopf(fremd, 12, false, 0xFFFFFFFF, SPUR_MACOS);
  EXPECT_EQ(befund(fremd).dauer, std::nullopt);
  EXPECT_FALSE(befund(fremd).ausLibav);
  Bytes teile = mp4Anfang();
  mp4Kopf(teile, 0, true);
  mp4Fragment(teile, 3, 0, 100);
  EXPECT_DOUBLE_EQ(befund(teile).dauer.value_or(0.0), 0.3);
  mp4Fragment(teile, 2, 5000, 0, {40, 60});
  EXPECT_DOUBLE_EQ(befund(teile).dauer.value_or(0.0), 5.1);
  // One whose data has not come counts as little as its pictures do.
  mp4Fragment(teile, 3, 9000, 100);
  teile.resize(teile.size() - 7);
  EXPECT_DOUBLE_EQ(befund(teile).dauer.value_or(0.0), 5.1);
}

}  // namespace
}  // namespace hallkorb
