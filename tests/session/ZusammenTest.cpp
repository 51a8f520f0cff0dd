// Every sample in its place, to the sample, and silence everywhere else.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "base/Fremdprogramm.h"
#include "session/Marken.h"
#include "session/Zusammenfuegung.h"
#include "session/Zusammenschnitt.h"
#include "tests/session/Ordnerbau.h"

namespace hallkorb {
namespace {

using Namen = std::vector<std::string>;

class Zusammen : public testing::Test {
 protected:
  // The files made; those that could not be, or not as they should, with a mark.
  Namen fuege(const Wuensche& wuensche = {}) {
    const auto ergebnis = fuegeZusammen(bau_.ordner().pfad(), wuensche);
    if (!std::holds_alternative<std::vector<Ergebnisdatei>>(ergebnis)) return {"refused"};
    Namen namen;
    for (const auto& eine : std::get<std::vector<Ergebnisdatei>>(ergebnis))
      namen.push_back((eine.gelungen ? "" : "! ") + eine.datei);
    return namen;
  }

  // 16-bit samples of one channel behind the header.
  std::vector<int> samples(const std::string& pfad, std::size_t kanal, std::size_t kanaele) {
    const Bytes bytes = dateiBytes(pfad);
    std::vector<int> werte;
    for (std::size_t i = 44 + 2 * kanal; i + 1 < bytes.size(); i += 2 * kanaele)
      werte.push_back(static_cast<std::int16_t>(bytes[i] | bytes[i + 1] << 8));
    return werte;
  }
  // What the channel's axis holds between two samples; silence elsewhere.
  static std::vector<int> erwartet(std::size_t laenge,
                                   const std::vector<std::array<std::int64_t, 2>>& stuecke) {
    std::vector<int> werte(laenge);
    for (const auto& [von, bis] : stuecke) {
      const auto ton = Ordnerbau::ton(von, bis - von);
      for (std::size_t i = 0; i < ton.size(); ++i)
        werte[static_cast<std::size_t>(von) + i] = static_cast<int>(ton[i] * 32767.0F);
    }
    return werte;
  }

  Ordnerbau bau_;
};

const Namen TEXTE{"zusammen.txt", "zusammen.vtt", "zusammen_kapitel.txt"};

Namen mitTexten(Namen namen) {
  namen.insert(namen.end(), TEXTE.begin(), TEXTE.end());
  return namen;
}

TEST_F(Zusammen, BothChannelsLieWhereTheyWereRecorded) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.chunk("me", 1, 1.0, 2.5);
  bau_.chunk("me", 2, 6.0, 7.0);  // between them nothing was kept, longer than a block
  bau_.chunk("them", 0, 0.5, 1.5);
  bau_.ende();
  EXPECT_EQ(fuege(), mitTexten({"zusammen.wav"}));
  const std::string wav = bau_ / "zusammen.wav";
  EXPECT_EQ(samples(wav, 0, 2), erwartet(112000, {{0, 40000}, {96000, 112000}}));
  EXPECT_EQ(samples(wav, 1, 2), erwartet(112000, {{8000, 24000}}));
  const Bytes bytes = dateiBytes(wav);
  EXPECT_EQ(bytes[22], 2);                                         // channels
  EXPECT_EQ(bytes[28] | bytes[29] << 8 | bytes[30] << 16, 64000);  // bytes a second
  EXPECT_EQ(bytes[32], 4);                                         // bytes a frame
  EXPECT_EQ(static_cast<std::size_t>(bytes[40] | bytes[41] << 8 | bytes[42] << 16),
            bytes.size() - 44);
}

TEST_F(Zusammen, OneFileForEachChannelOfTheSameLength) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 0.5);
  bau_.chunk("them", 0, 5.0, 9.0);
  bau_.ende();
  EXPECT_EQ(fuege({"", true, false}), mitTexten({"zusammen_me.wav", "zusammen_them.wav"}));
  EXPECT_EQ(samples(bau_ / "zusammen_me.wav", 0, 1), erwartet(144000, {{0, 8000}}));
  EXPECT_EQ(samples(bau_ / "zusammen_them.wav", 0, 1), erwartet(144000, {{80000, 144000}}));
}

// Times are rounded to a hundredth; chunks that follow each other must not gain or lose a sample.
TEST_F(Zusammen, RoundedTimesDoNotMoveWhatBelongsTogether) {
  bau_.start();
  bau_.wav("chunk_me_000.wav", 0, 16077);
  bau_.wav("chunk_me_001.wav", 16077, 16001);
  bau_.chunkZeile("me", 0, 0.0, 1.0, "chunk_me_000.wav");  // 1.0048 s
  bau_.chunkZeile("me", 1, 1.0, 2.0, "chunk_me_001.wav");
  bau_.ende();
  EXPECT_EQ(fuege(), mitTexten({"zusammen.wav"}));
  EXPECT_EQ(samples(bau_ / "zusammen.wav", 0, 2), erwartet(32078, {{0, 32078}}));
}

TEST_F(Zusammen, AMissingFileIsSilenceAndSaid) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.chunk("me", 1, 1.0, 2.0);
  bau_.chunk("me", 2, 2.0, 3.0);
  bau_.ende();
  std::filesystem::remove(bau_ / "chunk_me_001.wav");
  EXPECT_EQ(fuege().front(), "! ereignisse.jsonl");
  EXPECT_EQ(samples(bau_ / "zusammen.wav", 0, 2), erwartet(48000, {{0, 16000}, {32000, 48000}}));
}

TEST_F(Zusammen, WithoutLinesTheChunksFollowOneAnotherAndThatIsSaid) {
  bau_.wav("chunk_me_000.wav", 0, 8000);
  bau_.wav("chunk_me_004.wav", 8000, 8000);
  EXPECT_EQ(fuege().front(), "! ereignisse.jsonl");
  EXPECT_EQ(samples(bau_ / "zusammen.wav", 0, 2), erwartet(16000, {{0, 16000}}));
}

TEST_F(Zusammen, AnotherRateIsLeftOut) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.chunk("me", 1, 1.0, 2.0);
  bau_.wav("chunk_them_000.wav", 0, 48000, 48000);
  bau_.chunkZeile("them", 0, 0.0, 1.0, "chunk_them_000.wav");
  bau_.ende();
  EXPECT_EQ(fuege(), mitTexten({"! chunk_them_000.wav", "zusammen.wav"}));
}

TEST_F(Zusammen, AFarTimeCostsNoSpaceOrIsRefused) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.wav("chunk_me_001.wav", 0, 16000);
  bau_.chunkZeile("me", 1, 600'000.0, 600'001.0, "chunk_me_001.wav");
  bau_.ende();
  EXPECT_EQ(fuege(), mitTexten({"! zusammen.wav"}));
  EXPECT_FALSE(std::filesystem::exists(bau_ / "zusammen.wav"));
}

TEST_F(Zusammen, AnotherFolderAndNoLinksFollowed) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.ende();
  const TempOrdner ziel;
  const TempOrdner fremd;
  legeAn(fremd / "wichtig", {7});
  for (const char* name : {"zusammen.wav", "zusammen.txt"})
    std::filesystem::create_symlink(fremd / "wichtig", ziel / name);
  const Namen vorher = bau_.ordner().namen();
  EXPECT_EQ(fuege({ziel.pfad(), false, false}), mitTexten({"zusammen.wav"}));
  EXPECT_EQ(bau_.ordner().namen(), vorher);
  EXPECT_EQ(dateiBytes(fremd / "wichtig"), Bytes{7});
}

TEST_F(Zusammen, WithoutSoundThereIsNothingToDo) {
  bau_.start();
  bau_.ende();
  EXPECT_EQ(fuege(), Namen{"refused"});
}

TEST_F(Zusammen, ATitleIsHarmlessInEveryFormat) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 2.0);
  bau_.zeile("{\"event\":\"video_start\",\"quelle\":\"<b>=;#\\\\ \x01\",\"t_s\":0.5}");
  bau_.zeile(R"({"event":"video_pause","message":"","t_s":1.5})");
  bau_.zeile(R"({"event":"video_wechsel","quelle":"spaeter","t_s":99.0})");
  bau_.ende();
  ASSERT_EQ(fuege(), mitTexten({"zusammen.wav"}));
  const auto text = [&](const char* name) {
    const Bytes bytes = dateiBytes(bau_ / name);
    return std::string(bytes.begin(), bytes.end());
  };
  EXPECT_EQ(text("zusammen.txt"),
            "0.000000\t2.000000\tme chunk_me_000.wav\n"
            "0.000000\t0.500000\tBild: Anfang\n"
            "0.500000\t1.500000\tBild: <b>=;#\\ \xEF\xBF\xBD\n"
            "1.500000\t2.000000\tBild: Pause\n");
  EXPECT_EQ(text("zusammen.vtt"),
            "WEBVTT\n\n00:00:00.000 --> 00:00:02.000\n<v me>chunk_me_000.wav</v>\n");
  EXPECT_EQ(text("zusammen_kapitel.txt"),
            ";FFMETADATA1\n"
            "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=500\ntitle=Anfang\n"
            "[CHAPTER]\nTIMEBASE=1/1000\nSTART=500\nEND=1500\ntitle=<b>\\=\\;\\#\\\\ \xEF\xBF\xBD\n"
            "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1500\nEND=2000\ntitle=Pause\n");
}

TEST_F(Zusammen, ACueOfAlmostNothingIsNotEmpty) {
  bau_.start();
  bau_.wav("chunk_me_000.wav", 0, 5);
  bau_.chunkZeile("me", 0, 1.0, 1.0, "chunk_me_000.wav");
  bau_.ende();
  fuege();
  const Bytes bytes = dateiBytes(bau_ / "zusammen.vtt");
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
            "WEBVTT\n\n00:00:01.000 --> 00:00:01.001\n<v me>chunk_me_000.wav</v>\n");
}

// A video of 14.0 s in a recording of 20 s, whose first window was none after all.
TEST_F(Zusammen, TheFilmBeginsWhereItReachesTheEnd) {
  if (fuehreProgrammAus({"ffprobe", "-version"}).fehlt()) GTEST_SKIP() << "no ffprobe";
  bau_.start();
  bau_.zeile(R"({"event":"video_start","quelle":"Zoom","t_s":1.0})");
  bau_.zeile(R"({"event":"video_pause","message":"weg","t_s":1.5})");
  bau_.zeile(R"({"event":"video_wechsel","quelle":"Zoom","t_s":6.0})");
  bau_.chunk("me", 0, 19.0, 20.0);
  bau_.zeile(R"({"event":"video","path":"/a/video.mp4","frames":12,"quelle":"Zoom"})");
  bau_.ende();
  std::filesystem::copy_file(HALLKORB_BEISPIEL "/video.mp4", bau_ / VIDEODATEI);
  ASSERT_EQ(fuege().back(), "zusammen.mp4");
  std::string beginn;
  EXPECT_TRUE(
      fuehreProgrammAus({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                         "stream=start_time", "-of", "csv=p=0", bau_ / "zusammen.mp4"},
                        [&](const std::string& zeile) { beginn = zeile; })
          .gelungen());
  EXPECT_EQ(beginn, "6.000000");
}

TEST_F(Zusammen, AVideoThatIsNoneIsLeftOut) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  legeAn(bau_ / VIDEODATEI, {1, 2, 3});
  Namen namen = mitTexten({"zusammen.wav"});
  EXPECT_EQ(fuege({"", false, true}), namen);
  namen.emplace_back("! zusammen.mp4");
  EXPECT_EQ(fuege(), namen);
  bau_.zeile(R"({"event":"video_start","quelle":"Z","t_s":0.0})");
  EXPECT_EQ(fuege(), namen);
}

}  // namespace
}  // namespace hallkorb
