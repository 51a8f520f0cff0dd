// The page about a recorded folder: its data, and that nothing of a folder becomes more than data.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "session/Bericht.h"
#include "session/Seitentext.h"
#include "tests/session/Ordnerbau.h"

namespace hallkorb {
namespace {

using Json = nlohmann::json;

class BerichtTest : public testing::Test {
 protected:
  // Makes the page and returns its data.
  Json daten() {
    const auto ergebnis = schreibeBericht(bau_.ordner().pfad());
    if (!std::holds_alternative<Bericht>(ergebnis)) {
      ADD_FAILURE() << std::get<Fehler>(ergebnis).description;
      return {};
    }
    return Json::parse(element("daten"));
  }
  [[nodiscard]] std::string seite() const {
    const Bytes bytes = dateiBytes(bau_ / SEITENDATEI);
    return {bytes.begin(), bytes.end()};
  }
  // What stands in the element of that id.
  [[nodiscard]] std::string element(const std::string& id) const {
    const std::string text = seite();
    const std::size_t marke = text.find("id=\"" + id + "\">");
    if (marke == std::string::npos) return {};
    const std::size_t von = text.find('>', marke) + 1;
    return text.substr(von, text.find('<', von) - von);
  }

  Ordnerbau bau_;
};

TEST_F(BerichtTest, ChunksLieWhereTheyWereRecorded) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.chunk("me", 1, 1.0, 2.5);
  bau_.zeile(
      R"({"chunk":2,"channel":"me","path":"chunk_me_002.wav","t0":6.00,"t1":7.00,"sprache_ms":640})");
  bau_.wav("chunk_me_002.wav", 96000, 16000);
  bau_.chunk("them", 0, 0.5, 1.5);
  bau_.wav(ROHDATEI, 0, 160000);
  bau_.ende();
  const Json satz = daten();
  EXPECT_EQ(satz["chunks"]["me"],
            Json::parse(R"([[0, 0.0, 1.0, 1.0, null, "chunk_me_000.wav", false],
                            [1, 1.0, 1.5, 1.5, null, "chunk_me_001.wav", false],
                            [2, 6.0, 1.0, 1.0, 640, "chunk_me_002.wav", false]])"));
  EXPECT_EQ(satz["chunks"]["them"],
            Json::parse(R"([[0, 0.5, 1.0, 1.0, null, "chunk_them_000.wav", false]])"));
  EXPECT_EQ(satz["roh"], Json::parse(R"({"datei": "mikro_roh.wav", "dauer": 10.0})"));
  EXPECT_EQ(satz["dauer"], 10.0);
  EXPECT_EQ(satz["start"]["null"], 1795220400123);
  EXPECT_TRUE(satz["zeilen"].get<bool>() && satz["fertig"].get<bool>());
  EXPECT_EQ(satz["befunde"], Json::array());
  EXPECT_EQ(satz["name"], std::filesystem::path(bau_.ordner().pfad()).filename().string());
}

TEST_F(BerichtTest, TheLevelsAreThoseOfTheFiles) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.chunk("me", 1, 3.0, 4.0);
  bau_.ende();
  const Json satz = daten();
  EXPECT_EQ(satz["pegel"]["me"], Json::parse(R"({"proSekunde": 100.0, "laengen": [400],
                                                "uebersteuert": 0})"));
  EXPECT_EQ(satz["pegel"]["roh"]["laengen"], Json::array());
  Pegelbau bau(16000, 64000);
  for (const std::int64_t ab : {0, 48000}) {
    std::vector<std::int16_t> samples;
    for (const float wert : Ordnerbau::ton(ab, 16000))
      samples.push_back(static_cast<std::int16_t>(wert * 32767.0F));
    bau.nimm(ab, samples);
  }
  EXPECT_EQ(element("pegel-me-0"), alsBase64(bau.baue().stufen[0]));
}

TEST_F(BerichtTest, PictureEchoAndTimeline) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  Bytes mp4 = mp4Anfang();
  mp4Kopf(mp4, 12, false);
  legeAn(bau_ / VIDEODATEI, mp4);
  bau_.zeile(R"({"event":"video_pause","message":"weg","t_s":7.5})");
  bau_.zeile(R"({"event":"video_start","quelle":"Zoom","t_s":4.2})");
  bau_.zeile(R"({"event":"degraded","channel":"them","message":"kein Ton"})");
  bau_.zeile(
      R"({"event":"echo","verzoegerung_ms":81.7,"leck":0.03,"tor_anteil":2,"nah_anteil":0.4,"resets":-3,"bloecke":99,"chunks_ohne_sprache":5})");
  bau_.zeile(
      R"({"event":"zeitachse","them":{"luecken":2,"luecken_ms":31.5,"ueberlappungen":0,"verworfen_ms":0},"me":7})");
  bau_.zeile(R"({"event":"video","path":"video.mp4","frames":12,"quelle":"Zoom"})");
  bau_.ende();
  const Json satz = daten();
  EXPECT_EQ(satz["video"], Json::parse(R"({"datei": "video.mp4", "ab": 4.2})"));
  EXPECT_EQ(satz["bilder"], Json::parse(R"([{"t": 4.2, "pause": false, "text": "Zoom"},
                                            {"t": 7.5, "pause": true, "text": "weg"}])"));
  EXPECT_EQ(satz["dauer"], 7.5);
  EXPECT_EQ(satz["echo"]["verzoegerungMs"], 81.7);
  EXPECT_EQ(satz["echo"]["leck"], 0.03);
  EXPECT_EQ(satz["echo"]["torAnteil"], 0.0);  // no share
  EXPECT_EQ(satz["echo"]["resets"], 0);
  EXPECT_EQ(satz["echo"]["chunksOhneSprache"], 5);
  EXPECT_EQ(satz["zeitachse"]["them"]["luecken"], 2);
  EXPECT_EQ(satz["zeitachse"]["them"]["lueckenMs"], 31.5);
  EXPECT_EQ(satz["zeitachse"]["me"]["luecken"], 0);
  EXPECT_EQ(satz["meldungen"], Json::parse(R"([{"name": "degraded", "kanal": "them",
                                               "text": "kein Ton"}])"));
}

// On Linux the first window's pictures can all be taken back; the file then begins after the pause.
TEST_F(BerichtTest, AVideoBeginsWithTheWindowFromWhichItReachesTheEnd) {
  const auto ab = [&](double pause, const Bytes& mp4, bool ende = true, bool zeile = true) {
    std::filesystem::remove(bau_ / EREIGNISSE);
    bau_.start();
    bau_.chunk("me", 0, 399.0, 400.0);
    bau_.zeile(R"({"event":"video_start","quelle":"Zoom","t_s":5.0})");
    bau_.zeile(R"({"event":"video_pause","message":"weg","t_s":)" + std::to_string(pause) + "}");
    bau_.zeile(R"({"event":"video_wechsel","quelle":"Zoom","t_s":186.0})");
    bau_.zeile(R"({"event":"video_wechsel","quelle":"Teams","t_s":300.0})");
    if (ende && zeile) bau_.zeile(R"({"event":"video","path":"/v","frames":12,"quelle":"Z"})");
    if (ende) bau_.ende();
    legeAn(bau_ / VIDEODATEI, mp4);
    return daten()["video"]["ab"];
  };
  const auto ganzes = [](std::uint32_t dauerMs, std::string_view spur = SPUR_LIBAV) {
    Bytes mp4 = mp4Anfang();
    mp4Kopf(mp4, 12, false, dauerMs, spur);
    return mp4;
  };
  EXPECT_EQ(ab(6.0, ganzes(214'300)), 186.0);
  EXPECT_EQ(ab(6.0, ganzes(394'100)), 5.0);  // small differences move nothing
  EXPECT_EQ(ab(6.0, ganzes(0)), 5.0);        // not known
  EXPECT_EQ(ab(6.0, ganzes(214'300, SPUR_MACOS)), 5.0);
  // What was shown for so long is in the file, which is shorter for another reason.
  EXPECT_EQ(ab(100.0, ganzes(214'300)), 5.0);
  // A video that failed ends before the recording: no window begins 195 s before the end.
  EXPECT_EQ(ab(6.0, ganzes(195'000)), 5.0);
  EXPECT_EQ(ab(6.0, ganzes(214'300), true, false), 5.0);
  // Killed: the fragments end a little earlier than the sound.
  Bytes teile = mp4Anfang();
  mp4Kopf(teile, 0, true);
  mp4Fragment(teile, 5, 0, 100);
  mp4Fragment(teile, 2, 213'000, 100);
  EXPECT_EQ(ab(6.0, teile, false), 186.0);
  // The raw file is longer than its header says, and than every line.
  bau_.wav(ROHDATEI, 0, 16000);
  std::filesystem::resize_file(bau_ / ROHDATEI, 44 + 2 * 16000 * 580);
  EXPECT_EQ(ab(6.0, ganzes(394'100), false), 186.0);
}

TEST_F(BerichtTest, AVideoThatShowsNothingIsNone) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.zeile(R"({"event":"video_start","quelle":"Zoom","t_s":0.2})");
  legeAn(bau_ / VIDEODATEI, {1, 2, 3});
  EXPECT_TRUE(daten()["video"].is_null());
}

TEST_F(BerichtTest, WhatIsMissingHasItsPlaceButNoFile) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.chunkZeile("me", 1, 1.0, 2.0, "chunk_me_001.wav");
  bau_.chunkZeile("me", 2, 2.0, 3.5, "chunk_me_002.wav");
  bau_.chunk("me", 3, 3.5, 4.0);
  bau_.ende();
  const Json satz = daten();
  ASSERT_EQ(satz["chunks"]["me"].size(), 4U);
  EXPECT_EQ(satz["chunks"]["me"][2], Json::parse("[2, 2.0, 0, 1.5, null, null, false]"));
  // Two findings, one sentence.
  ASSERT_EQ(satz["befunde"].size(), 1U);
  EXPECT_EQ(satz["befunde"][0]["art"], "fehlt");
  EXPECT_EQ(satz["befunde"][0]["datei"], "chunk");
  EXPECT_EQ(satz["befunde"][0]["anzahl"], 2);
  EXPECT_EQ(satz["befunde"][0]["texte"].size(), 2U);
}

TEST_F(BerichtTest, AChunkOfAnotherRateIsThereAndNotPlayed) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.wav("chunk_me_001.wav", 0, 48000, 48000);
  bau_.chunkZeile("me", 1, 1.0, 2.0, "chunk_me_001.wav");
  bau_.chunk("me", 2, 2.0, 3.0);
  bau_.ende();
  const Json satz = daten();
  ASSERT_EQ(satz["chunks"]["me"].size(), 3U);
  EXPECT_EQ(satz["chunks"]["me"][1], Json::parse("[1, 1.0, 0, 1.0, null, null, false, true]"));
  ASSERT_EQ(satz["befunde"].size(), 1U);
  EXPECT_EQ(satz["befunde"][0]["thema"], "rate");
}

TEST_F(BerichtTest, AFindingSaysWhetherARepairHelps) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.chunk("them", 0, 0.0, 1.0);
  bau_.kuerze("chunk_me_000.wav", 10'000);  // its header and its line
  const Json satz = daten();
  ASSERT_EQ(satz["befunde"].size(), 2U);
  EXPECT_EQ(satz["befunde"][0]["datei"], EREIGNISSE);
  EXPECT_EQ(satz["befunde"][0]["reparierbar"], false);
  EXPECT_EQ(satz["befunde"][1]["datei"], "chunk");
  EXPECT_EQ(satz["befunde"][1]["reparierbar"], true);
  EXPECT_EQ(satz["befunde"][1]["anzahl"], 1);
  EXPECT_EQ(satz["befunde"][1]["texte"].size(), 2U);
}

TEST_F(BerichtTest, LinesThatCannotBeReadAreCounted) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.ende();
  for (int i = 0; i < 500; ++i)
    bau_.zeile("nichts");
  const Json satz = daten();
  ASSERT_EQ(satz["befunde"].size(), 1U);
  EXPECT_EQ(satz["befunde"][0]["thema"], "zeile");
  EXPECT_EQ(satz["befunde"][0]["anzahl"], 500);
}

TEST_F(BerichtTest, DifferentThingsAboutAFileAreDifferentFindings) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.ende();
  bau_.wav(ROHDATEI, 0, 48'000, 48'000);
  std::filesystem::rename(bau_ / EREIGNISSE, bau_ / "anderswo");
  std::filesystem::create_symlink(bau_ / "anderswo", bau_ / EREIGNISSE);
  const Json satz = daten();
  ASSERT_EQ(satz["befunde"].size(), 2U);
  EXPECT_EQ(satz["befunde"][0]["datei"], EREIGNISSE);
  EXPECT_EQ(satz["befunde"][0]["thema"], "");
  EXPECT_EQ(satz["befunde"][1]["datei"], ROHDATEI);
  EXPECT_EQ(satz["befunde"][1]["thema"], "rate");
}

TEST_F(BerichtTest, AMissingChannelWithoutAReason) {
  bau_.zeile(R"({"event":"degraded","channel":"them","message":"aus"})");
  bau_.zeile(R"({"event":"started","mic":false,"system":false})");
  bau_.wav(ROHDATEI, 0, 16000);
  EXPECT_EQ(daten()["ohneGrund"], Json::parse(R"(["me"])"));
}

// The host keeps the lines of every attempt in one file.
TEST_F(BerichtTest, ARefusedAttemptSaysNothingAboutTheRecording) {
  const std::string abgelehnt = R"({"event":"error","message":"hier wird schon aufgenommen"})";
  bau_.zeile(R"({"event":"degraded","channel":"them","message":"aus"})");
  bau_.zeile(abgelehnt);
  bau_.zeile(R"({"event":"neu"})");
  bau_.zeile(R"({"event":"started","mic":true,"system":false})");
  bau_.zeile(abgelehnt);
  bau_.chunk("me", 0, 0.0, 1.0);
  const Json erwartet = Json::parse(R"([{"name": "degraded", "kanal": "them", "text": "aus"}])");
  EXPECT_EQ(daten()["meldungen"], erwartet);
  bau_.ende();
  bau_.zeile(abgelehnt);
  const Json satz = daten();
  EXPECT_EQ(satz["meldungen"], erwartet);
  EXPECT_EQ(satz["ohneGrund"], Json::array());
  EXPECT_TRUE(satz["fertig"].get<bool>());
}

TEST_F(BerichtTest, WithoutLinesTheFilesAlone) {
  bau_.wav("chunk_me_000.wav", 0, 8000);
  bau_.wav("chunk_me_004.wav", 8000, 8000);
  bau_.wav("chunk_them_000.wav", 0, 24000);
  const Json satz = daten();
  EXPECT_FALSE(satz["zeilen"].get<bool>());
  EXPECT_EQ(satz["chunks"]["me"][1],
            Json::parse(R"([4, 0.5, 0.5, 0.5, null, "chunk_me_004.wav", false])"));
  EXPECT_EQ(satz["dauer"], 1.5);
  EXPECT_TRUE(satz["start"].is_null() && satz["echo"].is_null());
}

TEST_F(BerichtTest, OnlyLinesOrOnlyTheRawFile) {
  bau_.start();
  EXPECT_EQ(daten()["dauer"], 0.0);
  bau_.wav(ROHDATEI, 0, 16000);
  EXPECT_EQ(daten()["dauer"], 1.0);
}

TEST_F(BerichtTest, WithoutARecordingThereIsNoPage) {
  EXPECT_TRUE(std::holds_alternative<Fehler>(schreibeBericht(bau_.ordner().pfad())));
  EXPECT_TRUE(std::holds_alternative<Fehler>(schreibeBericht(bau_ / "fehlt")));
  EXPECT_EQ(bau_.ordner().namen(), std::vector<std::string>{});
}

TEST_F(BerichtTest, NoLinkIsFollowedAndNothingElseStays) {
  bau_.start();
  const TempOrdner fremd;
  legeAn(fremd / "wichtig", {7});
  std::filesystem::create_symlink(fremd / "wichtig", bau_ / SEITENDATEI);
  daten();
  EXPECT_EQ(dateiBytes(fremd / "wichtig"), Bytes{7});
  EXPECT_FALSE(std::filesystem::is_symlink(bau_ / SEITENDATEI));
  daten();
  EXPECT_EQ(bau_.ordner().namen(), (std::vector<std::string>{EREIGNISSE, SEITENDATEI}));
}

TEST_F(BerichtTest, LinksAndPipesAreNotRead) {
  bau_.start();
  bau_.chunkZeile("me", 0, 0.0, 1.0, "chunk_me_000.wav");
  std::filesystem::create_symlink("/etc/passwd", bau_ / "chunk_me_000.wav");
  ASSERT_EQ(::mkfifo((bau_ / ROHDATEI).c_str(), 0600), 0);
  const Json satz = daten();
  EXPECT_TRUE(satz["roh"].is_null());
  EXPECT_TRUE(satz["chunks"]["me"][0][5].is_null());
}

TEST_F(BerichtTest, ATitleRunsNothing) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  const std::string vorher = (daten(), seite());
  const std::string titel =
      // NOLINTNEXTLINE(misc-misleading-bidirectional): a title may have such a character
      "</script><script>alert(1)</script><!--<img src=x onerror=alert(2)>'`&amp;{{skript}}"
      "\xE2\x80\xA8\xE2\x80\xAE";
  bau_.zeile(R"({"event":"video_start","quelle":")" + titel + "\x01\xFF\",\"t_s\":0.5}");
  bau_.zeile(R"({"event":"degraded","channel":"me","message":")" + titel + "\"}");
  bau_.zeile("</script><b>" + titel);
  const Json satz = daten();
  EXPECT_EQ(satz["bilder"][0]["text"], titel + "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(satz["meldungen"][0]["text"], titel);
  // No more tags than without it.
  const auto anzahl = [](const std::string& text, char zeichen) {
    return std::count(text.begin(), text.end(), zeichen);
  };
  EXPECT_EQ(anzahl(seite(), '<'), anzahl(vorher, '<'));
  const std::string roh = element("daten");
  EXPECT_EQ(anzahl(roh, '<') + anzahl(roh, '>') + anzahl(roh, '&'), 0);
  EXPECT_EQ(roh.find("\xE2\x80\xA8"), std::string::npos);
}

TEST_F(BerichtTest, AFolderNameIsText) {
  const std::string name = "<img src=x onerror=alert(1)>\"'\n\x1b";
  const std::string pfad = bau_ / name;
  std::filesystem::create_directory(pfad);
  legeAn(pfad + "/" + EREIGNISSE, {'{', '}', '\n'});
  ASSERT_TRUE(std::holds_alternative<Bericht>(schreibeBericht(pfad + "/")));
  const Bytes bytes = dateiBytes(pfad + "/" + SEITENDATEI);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()).find("<img"), std::string::npos);
}

TEST_F(BerichtTest, FilesThatLieAboutTheirSize) {
  bau_.start();
  bau_.chunk("me", 0, 0.0, 1.0);
  bau_.chunk("them", 0, 0.0, 1.0);
  bau_.wav(ROHDATEI, 0, 16000);
  for (const char* name : {"chunk_me_000.wav", ROHDATEI})
    bau_.setze(name, 40, 0xFFFFFFFF);
  bau_.kuerze("chunk_them_000.wav", 50);
  const Json satz = daten();
  EXPECT_EQ(satz["chunks"]["me"][0][2], 1.0);
  EXPECT_EQ(satz["chunks"]["them"][0][2], 0.00019);  // three samples
  EXPECT_EQ(satz["roh"]["dauer"], 1.0);
}

TEST_F(BerichtTest, AFarTimeCostsNoMemory) {
  bau_.start();
  bau_.wav("chunk_me_000.wav", 0, 16000);
  bau_.chunkZeile("me", 0, 600'000.0, 600'001.0, "chunk_me_000.wav");
  EXPECT_EQ(daten()["dauer"], 600'001.0);
  EXPECT_LT(seite().size(), std::size_t{8} << 20);
}

TEST(Seitentext, AsAnAddress) {
  EXPECT_EQ(alsAdresse("chunk_me_000.wav"), "chunk_me_000.wav");
  EXPECT_EQ(alsAdresse("a b#?%:/\"<\xC3\xA4"), "a%20b%23%3F%25%3A%2F%22%3C%C3%A4");
}

TEST(Seitentext, AsBase64) {
  const std::array<std::int8_t, 5> bytes{77, 97, 110, -1, 0};
  EXPECT_EQ(alsBase64(std::span(bytes).first(0)), "");
  EXPECT_EQ(alsBase64(std::span(bytes).first(1)), "TQ==");
  EXPECT_EQ(alsBase64(std::span(bytes).first(2)), "TWE=");
  EXPECT_EQ(alsBase64(std::span(bytes).first(3)), "TWFu");
  EXPECT_EQ(alsBase64(bytes), "TWFu/wA=");
}

TEST(Seitentext, ShortenedBetweenCharacters) {
  EXPECT_EQ(kurz("abc", 3), "abc");
  EXPECT_EQ(kurz("abcd", 3), "abc\xE2\x80\xA6");
  EXPECT_EQ(kurz("ab\xC3\xA4x", 3), "ab\xE2\x80\xA6");
  EXPECT_EQ(kurz("\x80\x80\x80\x80", 2), "\xE2\x80\xA6");
}

}  // namespace
}  // namespace hallkorb
