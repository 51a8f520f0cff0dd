// What a kill leaves, one thing at a time, and what a repair makes of it. A second one never finds
// anything to do, and what was there before is in the originals, byte by byte.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "session/Reparatur.h"
#include "tests/session/Ordnerbau.h"
#include "tests/support/FehlerDateien.h"

namespace hallkorb {
namespace {

using Namen = std::vector<std::string>;

class Reparatur : public testing::Test {
 protected:
  void SetUp() override {
    bau_.start();
    bau_.chunk("me", 0, 0.0, 1.0);
    bau_.chunk("them", 0, 0.0, 1.5);
  }

  // The files that were repaired; those that could not be with a mark.
  Namen repariere(Dateien& dateien = posixDateien()) {
    const auto ergebnis = repariereSitzung(bau_.ordner().pfad(), nullptr, dateien);
    if (!std::holds_alternative<std::vector<Tat>>(ergebnis)) return {"refused"};
    Namen namen;
    for (const Tat& tat : std::get<std::vector<Tat>>(ergebnis))
      namen.push_back((tat.gelungen ? "" : "! ") + tat.datei);
    return namen;
  }
  [[nodiscard]] Namen originale() const {
    Namen namen;
    for (const auto& eintrag : std::filesystem::directory_iterator(bau_ / "originale"))
      namen.push_back(eintrag.path().filename().string());
    std::sort(namen.begin(), namen.end());
    return namen;
  }
  [[nodiscard]] Bytes bytes(const std::string& name) const { return dateiBytes(bau_ / name); }

  Ordnerbau bau_;
};

TEST_F(Reparatur, AWholeRecordingIsLeftAlone) {
  bau_.ende();
  bau_.wav(ROHDATEI, 0, 48000);
  const Namen vorher = bau_.ordner().namen();
  EXPECT_EQ(repariere(), Namen{});
  EXPECT_EQ(bau_.ordner().namen(), vorher);
}

TEST_F(Reparatur, AHeaderThatIsBehindIsBroughtUpToDate) {
  bau_.ende();
  bau_.wav(ROHDATEI, 0, 48000);
  const Bytes ganz = bytes(ROHDATEI);
  bau_.setze(ROHDATEI, 4, 36 + 20000);
  bau_.setze(ROHDATEI, 40, 20000);
  const Bytes vorher = bytes(ROHDATEI);
  EXPECT_EQ(repariere(), Namen{ROHDATEI});
  EXPECT_EQ(bytes(ROHDATEI), ganz);
  EXPECT_EQ(bytes("originale/mikro_roh.wav"), vorher);
  EXPECT_EQ(repariere(), Namen{});
  EXPECT_EQ(bau_.auffaellig(), Namen{});
}

TEST_F(Reparatur, HalfASampleAtTheEndIsLeftOut) {
  bau_.ende();
  bau_.kuerze("chunk_them_000.wav", 2001);
  EXPECT_EQ(repariere(), Namen{"chunk_them_000.wav"});
  EXPECT_EQ(bytes("chunk_them_000.wav").size(), 2000U);
  EXPECT_EQ(bytes("originale/chunk_them_000.wav").size(), 2001U);
  EXPECT_EQ(repariere(), Namen{});
}

TEST_F(Reparatur, WhatWasNotCutComesFromTheRawFile) {
  bau_.wav(ROHDATEI, 0, 40000);
  bau_.setze(ROHDATEI, 40, 0);
  const Bytes zeilen = bytes(EREIGNISSE);
  EXPECT_EQ(repariere(), (Namen{ROHDATEI, "chunk_me_001.wav"}));
  // From the last announced sample on.
  const auto alles = liesWav(bau_ / ROHDATEI).value();
  const auto rest = liesWav(bau_ / "chunk_me_001.wav").value();
  EXPECT_EQ(rest, std::vector<float>(alles.begin() + 16000, alles.end()));
  EXPECT_EQ(bytes("originale/ereignisse.jsonl"), zeilen);
  const auto ereignisse = liesEreignisse(bau_ / EREIGNISSE).value();
  const auto chunks = ereignisse.chunksVon(Kanal::me);
  ASSERT_EQ(chunks.size(), 2U);
  EXPECT_TRUE(chunks[1].ausRoh);
  EXPECT_DOUBLE_EQ(chunks[1].t0, 1.0);
  EXPECT_DOUBLE_EQ(chunks[1].t1, 2.5);
  EXPECT_EQ(repariere(), Namen{});
  // That it ended early remains true.
  EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten ereignisse.jsonl"});
}

TEST_F(Reparatur, ALineThatWasCutOffDoesNotSwallowTheNewOne) {
  bau_.roh(R"({"event":"vid)");
  bau_.wav(ROHDATEI, 0, 40000);
  EXPECT_EQ(repariere(), Namen{"chunk_me_001.wav"});
  EXPECT_EQ(liesEreignisse(bau_ / EREIGNISSE)->chunksVon(Kanal::me).size(), 2U);
  EXPECT_EQ(repariere(), Namen{});
}

// What the check says a repair puts right is what it does.
TEST_F(Reparatur, ThePromiseIsKept) {
  bau_.wav(ROHDATEI, 0, 40000);
  bau_.setze(ROHDATEI, 40, 0);
  bau_.kuerze("chunk_them_000.wav", 2001);
  legeAn(bau_ / ".hallkorb-17-3.teil", {1, 2});
  legeAn(bau_ / VIDEODATEI, mp4Anfang());
  const std::set<std::string> versprochen{".hallkorb-17-3.teil", "chunk_them_000.wav", ROHDATEI,
                                          VIDEODATEI};
  EXPECT_EQ(bau_.reparierbar(), versprochen);
  EXPECT_EQ(repariere(), (Namen{".hallkorb-17-3.teil", "chunk_them_000.wav", ROHDATEI,
                                "chunk_me_001.wav", VIDEODATEI}));
  // What is left is as it is: it ended early, and the chunk is shorter than announced.
  EXPECT_EQ(bau_.reparierbar(), std::set<std::string>{});
  EXPECT_EQ(bau_.auffaellig(),
            (Namen{"abgeschnitten ereignisse.jsonl", "abgeschnitten chunk_them_000.wav"}));
}

TEST_F(Reparatur, NothingIsPromisedThatIsNotDone) {
  bau_.ende();
  bau_.kuerze("chunk_me_000.wav", 200);
  bau_.setze("chunk_me_000.wav", 20, 0x00020001);  // two channels
  bau_.kuerze("chunk_them_000.wav", 10'044);
  bau_.setze("chunk_them_000.wav", 4, 36 + 10'000);
  bau_.setze("chunk_them_000.wav", 40, 10'000);
  bau_.wav(ROHDATEI, 0, 8000);  // shorter than the chunks
  Bytes video = mp4Anfang();
  mp4Kopf(video, 12, false);
  video.insert(video.end(), {0, 0});  // half of a box
  legeAn(bau_ / VIDEODATEI, video);
  EXPECT_EQ(bau_.auffaellig().size(), 4U);
  EXPECT_EQ(bau_.reparierbar(), std::set<std::string>{});
  EXPECT_EQ(repariere(), Namen{"! chunk_me_000.wav"});
}

// The host had died: the recorder ended in order, and nobody kept its last lines.
TEST_F(Reparatur, ChunksThatNobodyAnnouncedGetTheirLines) {
  bau_.wav("chunk_me_001.wav", 40'000, 8000);  // cleaned: not what the raw file has there
  bau_.wav("chunk_me_002.wav", 50'000, 16'000);
  bau_.wav("chunk_them_001.wav", 24'000, 15'000);
  bau_.wav(ROHDATEI, 0, 40'000);
  const Bytes zeilen = bytes(EREIGNISSE);
  EXPECT_EQ(bau_.reparierbar(),
            (std::set<std::string>{"chunk_me_001.wav", "chunk_me_002.wav", "chunk_them_001.wav"}));
  EXPECT_EQ(repariere(), (Namen{"chunk_me_001.wav", "chunk_me_002.wav", "chunk_them_001.wav"}));
  EXPECT_EQ(bytes("originale/ereignisse.jsonl"), zeilen);
  const auto ereignisse = liesEreignisse(bau_ / EREIGNISSE).value();
  const auto me = ereignisse.chunksVon(Kanal::me);
  ASSERT_EQ(me.size(), 3U);
  EXPECT_DOUBLE_EQ(me[1].t0, 1.0);
  EXPECT_DOUBLE_EQ(me[1].t1, 1.5);
  EXPECT_DOUBLE_EQ(me[2].t1, 2.5);
  EXPECT_FALSE(me[1].ausRoh || me[2].ausRoh);
  const auto them = ereignisse.chunksVon(Kanal::them);
  ASSERT_EQ(them.size(), 2U);
  EXPECT_DOUBLE_EQ(them[1].t0, 1.5);
  EXPECT_DOUBLE_EQ(them[1].t1, 2.44);
  EXPECT_EQ(repariere(), Namen{});
  EXPECT_EQ(bau_.auffaellig(), Namen{"abgeschnitten ereignisse.jsonl"});
}

// A silence that was dropped lies before them, or a chunk is gone: nobody knows where they belong.
TEST_F(Reparatur, ChunksWhosePlaceIsNotKnownStayWithoutALine) {
  bau_.wav("chunk_them_001.wav", 24'000, 15'000);
  bau_.wav(ROHDATEI, 0, 16'000 + 32'000);
  EXPECT_EQ(repariere(), Namen{"chunk_me_001.wav"});
  bau_.wav("chunk_them_002.wav", 24'000, 24'000);
  std::filesystem::remove(bau_ / "chunk_them_001.wav");
  EXPECT_EQ(repariere(), Namen{});
  EXPECT_EQ(bau_.reparierbar(), std::set<std::string>{});
}

// A repair was killed between the chunk that it cut and its line.
TEST_F(Reparatur, AChunkCutFromTheRawFileIsKnownAgain) {
  bau_.wav("chunk_me_001.wav", 16'000, 24'000);
  bau_.wav(ROHDATEI, 0, 40'000);
  EXPECT_EQ(repariere(), Namen{"chunk_me_001.wav"});
  EXPECT_TRUE(liesEreignisse(bau_ / EREIGNISSE)->chunksVon(Kanal::me)[1].ausRoh);
  EXPECT_EQ(repariere(), Namen{});
}

// The host has deleted what it had read, as it may.
TEST_F(Reparatur, DeletedChunksAreNotCutAgain) {
  std::filesystem::remove(bau_ / "chunk_me_000.wav");
  std::filesystem::remove(bau_ / "chunk_them_000.wav");
  bau_.wav(ROHDATEI, 0, 40'000);
  EXPECT_EQ(repariere(), Namen{"chunk_me_001.wav"});
  EXPECT_DOUBLE_EQ(liesEreignisse(bau_ / EREIGNISSE)->chunksVon(Kanal::me)[1].t0, 1.0);
}

// A line of a higher number would be refused.
TEST_F(Reparatur, WithoutANumberLeftNothingIsCut) {
  bau_.chunkZeile("me", 999'999'999, 1.0, 1.5, "chunk_me_999999999.wav");
  bau_.wav(ROHDATEI, 0, 40'000);
  EXPECT_EQ(repariere(), Namen{});
  EXPECT_EQ(bau_.ordner().namen(),
            (Namen{"chunk_me_000.wav", "chunk_them_000.wav", EREIGNISSE, ROHDATEI}));
}

TEST_F(Reparatur, WhatMayNotBeReadIsReported) {
  bau_.ende();
  constexpr uid_t NIEMAND = 65534;
  const bool root = ::geteuid() == 0;  // to whom nothing is forbidden
  for (const char* name : {"chunk_me_000.wav", "chunk_them_000.wav"})
    ASSERT_EQ(::chmod((bau_ / name).c_str(), 0), 0);
  ASSERT_EQ(::chmod(bau_.ordner().pfad().c_str(), 0755), 0);
  if (root) {
    ASSERT_EQ(::seteuid(NIEMAND), 0);
  }
  const Namen namen = repariere();
  if (root) {
    ASSERT_EQ(::seteuid(0), 0);
  }
  EXPECT_EQ(namen, (Namen{"! chunk_me_000.wav", "! chunk_them_000.wav"}));
}

TEST_F(Reparatur, AfterAnOrderlyEndNothingIsCut) {
  bau_.ende();
  bau_.wav(ROHDATEI, 0, 40000);
  EXPECT_EQ(repariere(), Namen{});
}

TEST_F(Reparatur, AChunkWithoutALineKeepsItsNumber) {
  bau_.wav("chunk_me_001.wav", 0, 100);
  bau_.wav(ROHDATEI, 0, 40000);
  EXPECT_EQ(repariere(), Namen{"chunk_me_002.wav"});
}

TEST_F(Reparatur, UnfinishedAndEmptyFilesAreMovedAway) {
  bau_.ende();
  legeAn(bau_ / ".hallkorb-17-3.teil", {1, 2});
  legeAn(bau_ / ROHDATEI, {'R', 'I'});
  legeAn(bau_ / VIDEODATEI, mp4Anfang());
  EXPECT_EQ(repariere(), (Namen{".hallkorb-17-3.teil", ROHDATEI, VIDEODATEI}));
  EXPECT_EQ(originale(), (Namen{"hallkorb-17-3.teil", ROHDATEI, VIDEODATEI}));
  EXPECT_EQ(repariere(), Namen{});
  EXPECT_EQ(bau_.auffaellig(), Namen{});
}

TEST_F(Reparatur, AnEarlierOriginalIsNeverReplaced) {
  bau_.ende();
  for (const std::uint8_t was : Bytes{1, 2, 3}) {
    legeAn(bau_ / "video.mp4.neu", {was});
    EXPECT_EQ(repariere(), Namen{"video.mp4.neu"});
  }
  EXPECT_EQ(originale(), (Namen{"video.mp4.neu", "video.mp4.neu.2", "video.mp4.neu.3"}));
  EXPECT_EQ(bytes("originale/video.mp4.neu"), Bytes{1});
  EXPECT_EQ(bytes("originale/video.mp4.neu.3"), Bytes{3});
}

// What was not replaced would be one file by two names: the next recording into the folder, or a
// host that still writes its lines, would change the original, too.
TEST_F(Reparatur, AnOriginalIsKeptOnceAndOnlyOfWhatWasReplaced) {
  bau_.ende();
  bau_.kuerze("chunk_me_000.wav", 2001);
  const Bytes vorher = bytes("chunk_me_000.wav");
  for (int i = 0; i < 3; ++i) {
    FehlerDateien voll;
    voll.scheitere(FehlerDateien::Ruf::schreiben, 0, ENOSPC, FehlerDateien::IMMER);
    EXPECT_EQ(repariere(voll), Namen{"! chunk_me_000.wav"});
    EXPECT_EQ(bytes("chunk_me_000.wav"), vorher);
    EXPECT_EQ(originale(), Namen{});
  }
  // Killed in the middle, a repair leaves it.
  std::filesystem::create_hard_link(bau_ / "chunk_me_000.wav", bau_ / "originale/chunk_me_000.wav");
  EXPECT_EQ(repariere(), Namen{"chunk_me_000.wav"});
  EXPECT_EQ(originale(), Namen{"chunk_me_000.wav"});
  EXPECT_EQ(bytes("originale/chunk_me_000.wav"), vorher);
}

TEST_F(Reparatur, LinesThatCouldNotBeAddedToAreNoOriginal) {
  bau_.wav(ROHDATEI, 0, 40'000);
  // The chunk, or after it the lines, cannot be written.
  for (const std::size_t n : {0U, 2U}) {
    FehlerDateien voll;
    voll.scheitere(FehlerDateien::Ruf::schreiben, n, ENOSPC, FehlerDateien::IMMER);
    EXPECT_EQ(repariere(voll), Namen{"! chunk_me_001.wav"});
    EXPECT_EQ(originale(), Namen{});
  }
  EXPECT_EQ(repariere(), Namen{"chunk_me_001.wav"});
  EXPECT_EQ(originale(), Namen{EREIGNISSE});
}

TEST_F(Reparatur, ANameForWhichThereIsNoRoomEndsInAnError) {
  bau_.ende();
  const std::string name = ".hallkorb-" + std::string(240, 'x') + ".teil";
  for (const Namen& erwartet : {Namen{name}, Namen{"! " + name}}) {
    legeAn(bau_ / name, {1});
    EXPECT_EQ(repariere(), erwartet);
  }
}

TEST_F(Reparatur, WhatCannotBeReadIsReportedAndLeft) {
  bau_.wav(ROHDATEI, 0, 40000);
  const Namen vorher = bau_.ordner().namen();
  using Ruf = FehlerDateien::Ruf;
  // The folder itself is opened before them, and the lines take three reads.
  for (const auto& [name, ruf, n] : {std::tuple{EREIGNISSE, Ruf::oeffnen, 1U},
                                     {EREIGNISSE, Ruf::lesenAn, 0U},
                                     {EREIGNISSE, Ruf::lesenAn, 2U},
                                     {"chunk_me_000.wav", Ruf::oeffnen, 2U},
                                     {"chunk_me_000.wav", Ruf::lesenAn, 3U}}) {
    FehlerDateien kaputt;
    kaputt.scheitere(ruf, n, EIO);
    const Namen namen = repariere(kaputt);
    ASSERT_FALSE(namen.empty());
    EXPECT_EQ(namen[0], std::string("! ") + name);
  }
  EXPECT_EQ(bau_.ordner().namen(), vorher);
}

TEST_F(Reparatur, NothingIsChangedIfTheOriginalCannotBeKept) {
  bau_.ende();
  bau_.setze("chunk_me_000.wav", 40, 20);
  legeAn(bau_ / "originale", {1});  // a file in the folder's place
  const Bytes vorher = bytes("chunk_me_000.wav");
  EXPECT_EQ(repariere(), Namen{"! chunk_me_000.wav"});
  EXPECT_EQ(bytes("chunk_me_000.wav"), vorher);
}

TEST_F(Reparatur, LinksAreNotFollowed) {
  bau_.ende();
  const TempOrdner fremd;
  bau_.setze("chunk_me_000.wav", 40, 20);
  std::filesystem::rename(bau_ / "chunk_me_000.wav", fremd / "ziel.wav");
  std::filesystem::create_symlink(fremd / "ziel.wav", bau_ / "chunk_me_000.wav");
  const Bytes vorher = dateiBytes(fremd / "ziel.wav");
  EXPECT_EQ(repariere(), Namen{});
  EXPECT_EQ(dateiBytes(fremd / "ziel.wav"), vorher);
  bau_.kuerze("chunk_them_000.wav", 2001);
  std::filesystem::create_symlink(fremd.pfad(), bau_ / "originale");
  EXPECT_EQ(repariere(), Namen{"! chunk_them_000.wav"});
  EXPECT_EQ(fremd.namen(), Namen{"ziel.wav"});
}

// Somebody has guessed the name of the chunk that a repair would write.
TEST_F(Reparatur, NothingIsWrittenThroughALink) {
  const TempOrdner fremd;
  legeAn(fremd / "profil", {1, 2, 3});
  bau_.wav(ROHDATEI, 0, 40'000);
  std::filesystem::create_symlink(fremd / "profil", bau_ / "chunk_me_001.wav");
  std::filesystem::create_symlink(fremd / "neu", bau_ / "chunk_me_002.wav");
  EXPECT_EQ(repariere(), Namen{"chunk_me_003.wav"});
  EXPECT_EQ(fremd.namen(), Namen{"profil"});
  EXPECT_EQ(dateiBytes(fremd / "profil"), (Bytes{1, 2, 3}));
  EXPECT_TRUE(std::filesystem::is_symlink(bau_ / "chunk_me_001.wav"));
  EXPECT_EQ(repariere(), Namen{});
}

TEST_F(Reparatur, ForeignFormatsAreReportedAndLeft) {
  bau_.ende();
  bau_.kuerze("chunk_me_000.wav", 200);
  bau_.setze("chunk_me_000.wav", 20, 0x00020001);  // two channels
  EXPECT_EQ(repariere(), Namen{"! chunk_me_000.wav"});
  EXPECT_EQ(bytes("chunk_me_000.wav").size(), 200U);
}

TEST_F(Reparatur, NotWhileItIsRecordedInto) {
  bau_.kuerze("chunk_them_000.wav", 2001);
  const int griff = ::open(bau_.ordner().pfad().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(::flock(griff, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(repariere(), Namen{"refused"});
  ::close(griff);
  EXPECT_EQ(repariere(), Namen{"chunk_them_000.wav"});
}

TEST_F(Reparatur, WithoutFfmpegAVideoStaysAsItIs) {
  bau_.ende();
  Bytes video = mp4Anfang();
  mp4Kopf(video, 0, true);
  mp4Fragment(video, 5);
  legeAn(bau_ / VIDEODATEI, video);
  const std::string weg = std::getenv("PATH");
  ::setenv("PATH", bau_.ordner().pfad().c_str(), 1);
  EXPECT_EQ(repariere(), Namen{"! video.mp4"});
  ::setenv("PATH", weg.c_str(), 1);
  EXPECT_EQ(bytes(VIDEODATEI), video);
  // Nor does it help if ffmpeg cannot make anything of it.
  EXPECT_EQ(repariere(), Namen{"! video.mp4"});
  EXPECT_EQ(bytes(VIDEODATEI), video);
  EXPECT_FALSE(std::filesystem::exists(bau_ / "originale"));
}

}  // namespace
}  // namespace hallkorb
