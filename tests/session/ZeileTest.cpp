// Lines as the recorder writes them, and as nobody should.
#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "session/Ereignisse.h"
#include "session/Zeile.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

template <class T>
T lies(const std::string& text) {
  const auto zeile = liesZeile(text);
  if (!zeile || !std::holds_alternative<T>(*zeile)) {
    ADD_FAILURE() << text;
    return {};
  }
  return std::get<T>(*zeile);
}

TEST(Zeile, ReadsWhatTheRecorderWrites) {
  const auto start = lies<StartZeile>(
      R"({"event":"started","mic":true,"system":false,"video":true,"echo":false,"null_unix_ms":1795220400123})");
  EXPECT_TRUE(start.mic);
  EXPECT_FALSE(start.system);
  EXPECT_FALSE(start.echo);
  EXPECT_EQ(start.nullUnixMs, 1795220400123);
  const auto chunk = lies<ChunkZeile>(
      R"({"chunk":7,"channel":"them","path":"/a/chunk_them_007.wav","t0":1.50,"t1":3.25,"sprache_ms":900})");
  EXPECT_EQ(chunk.nummer, 7);
  EXPECT_EQ(chunk.kanal, Kanal::them);
  EXPECT_EQ(chunk.pfad, "/a/chunk_them_007.wav");
  EXPECT_DOUBLE_EQ(chunk.t0, 1.5);
  EXPECT_DOUBLE_EQ(chunk.t1, 3.25);
  EXPECT_EQ(chunk.spracheMs, 900);
  const auto bild = lies<BildZeile>(
      R"({"event":"video_wechsel","quelle":"Zoom","art":"fenster","rang":1,"grund":"","t_s":4.2})");
  EXPECT_EQ(bild.quelle, "Zoom");
  EXPECT_FALSE(bild.pause);
  EXPECT_TRUE(lies<BildZeile>(R"({"event":"video_pause","message":"weg","t_s":61.0})").pause);
  EXPECT_EQ(lies<VideoZeile>(R"({"event":"video","path":"v","frames":812,"quelle":"Z"})").bilder,
            812);
  EXPECT_EQ(lies<MeldungZeile>(R"({"event":"degraded","channel":"me","message":"aus"})").text,
            "aus");
  lies<FertigZeile>(R"({"event":"done"})");
  EXPECT_EQ(lies<MeldungZeile>(R"({"event":"degraded","channel":"me","message":"aus"})").kanal,
            Kanal::me);
  EXPECT_EQ(lies<ZeitachseZeile>(R"({"event":"zeitachse","me":{"luecken":3}})").me.luecken, 3);
  EXPECT_DOUBLE_EQ(lies<EchoZeile>(R"({"event":"echo","verzoegerung_ms":81.7})").verzoegerungMs,
                   81.7);
  EXPECT_EQ(lies<AndereZeile>(R"({"event":"neu"})").ereignis, "neu");
  EXPECT_EQ(lies<AndereZeile>(R"({"mein":"Wirt"})").ereignis, "");
}

// The recorder leaves control characters in titles and quotes in paths as they are.
TEST(Zeile, ReadsWhatIsNotStrictJson) {
  EXPECT_EQ(
      lies<BildZeile>("{\"event\":\"video_start\",\"quelle\":\"a\x01\x1f z\",\"t_s\":0.0}").quelle,
      "a\x01\x1f z");
  EXPECT_EQ(
      lies<BildZeile>("{\"event\":\"video_start\",\"quelle\":\"a\xff z\",\"t_s\":0.0}").quelle,
      "a\xEF\xBF\xBD z");
  const auto chunk = lies<ChunkZeile>(
      "{\"chunk\":0,\"channel\":\"me\",\"path\":\"/mein "
      "\"ordner\"\\x/chunk_me_000.wav\",\"t0\":0.00,\"t1\":1.00}");
  EXPECT_EQ(chunk.pfad, "/mein \"ordner\"\\x/chunk_me_000.wav");
  EXPECT_DOUBLE_EQ(chunk.t1, 1.0);
  lies<FertigZeile>("{\"event\":\"done\"}\r");
}

TEST(Zeile, RefusesWhatCannotBe) {
  for (const char* text : {
           "",
           "x",
           "[]",
           "7",
           "null",
           "{",
           R"({"chunk":0})",
           R"({"chunk":-1,"channel":"me","path":"","t0":0,"t1":1})",
           R"({"chunk":99999999999999999999,"channel":"me","path":"","t0":0,"t1":1})",
           R"({"chunk":0,"channel":"us","path":"","t0":0,"t1":1})",
           R"({"chunk":0,"channel":"me","path":"","t0":2,"t1":1})",
           R"({"chunk":0,"channel":"me","path":"","t0":-1,"t1":1})",
           R"({"chunk":0,"channel":"me","path":"","t0":0,"t1":1e300})",
           R"({"chunk":0,"channel":"me","path":"","t0":0,"t1":1e999})",
           R"({"chunk":"0","channel":"me","path":"","t0":0,"t1":1})",
           R"({"event":"video_start","t_s":"now"})",
           R"({"chunk":0,"channel":"me","path":"","t0":)",
       }) {
    EXPECT_FALSE(liesZeile(text)) << text;
  }
  EXPECT_FALSE(liesZeile(std::string(MAX_ZEILE + 1, ' ')));
  EXPECT_FALSE(liesZeile(std::string(200'000, '[')));
}

class EreignisseTest : public testing::Test {
 protected:
  Ereignisse lies(const std::string& text) {
    legeAn(pfad_, {text.begin(), text.end()});
    return liesEreignisse(pfad_).value();
  }
  TempOrdner ordner_;
  const std::string pfad_ = ordner_ / EREIGNISSE;
};

TEST_F(EreignisseTest, OfSeveralRecordingsTheLastOneCounts) {
  const std::string chunk = R"({"chunk":0,"channel":"me","path":"p","t0":0.00,"t1":1.00})";
  const std::string start = R"({"event":"started"})";
  const auto alle = lies(R"({"event":"degraded","message":"alt"})"
                         "\n" +
                         start + "\n" + chunk + "\n" + R"({"event":"done"})" + "\n" +
                         R"({"event":"degraded","message":"neu"})" + "\n" + start + "\n");
  EXPECT_EQ(alle.aufnahmen, 2U);
  EXPECT_TRUE(alle.chunks.empty());
  EXPECT_FALSE(alle.fertig);
  ASSERT_EQ(alle.meldungen.size(), 1U);
  EXPECT_EQ(alle.meldungen[0].text, "neu");
}

TEST_F(EreignisseTest, WhatWasMissingIsKeptAfterAKillToo) {
  const std::string start = R"({"event":"started","mic":false,"system":true})";
  const std::string ohneMe = R"({"event":"degraded","channel":"me","message":"neu"})";
  const std::string ohneThem = R"({"event":"degraded","channel":"them","message":"auch"})";
  // The recording before was killed, ended in order, or has not been.
  for (const std::string& davor :
       {std::string(R"({"event":"started"})") + "\n" + R"({"event":"video_none","message":"alt"})" +
            "\n" + R"({"chunk":0,"channel":"me","path":"p","t0":0.00,"t1":1.00})" + "\n",
        std::string(R"({"event":"degraded","channel":"me","message":"alt"})") + "\n" +
            R"({"event":"started"})" + "\n" + R"({"event":"done"})" + "\n",
        std::string()}) {
    const auto alle = lies(davor + ohneMe + "\n" + ohneThem + "\n" + start + "\n");
    ASSERT_EQ(alle.meldungen.size(), 2U) << davor;
    EXPECT_EQ(alle.meldungen[0].text, "neu");
    EXPECT_EQ(alle.meldungen[1].text, "auch");
    EXPECT_FALSE(alle.fehltOhneGrund(Kanal::me));
  }
  // A line of the host's own, or a broken one, may follow it.
  const std::string fremde = "\nkaputt\n{\"mein\":\"Wirt\"}\n";
  for (const std::string& davor : {std::string(), std::string(R"({"event":"done"})") + "\n"}) {
    const auto alle = lies(davor + ohneMe + fremde + ohneThem + fremde + start + "\n");
    ASSERT_EQ(alle.meldungen.size(), 2U) << davor;
    EXPECT_FALSE(alle.fehltOhneGrund(Kanal::me));
  }
  // A recording that was stopped before it started keeps its own.
  const auto alle = lies(ohneMe + "\n" + R"({"event":"done"})" + "\n" + start + "\n");
  EXPECT_TRUE(alle.meldungen.empty());
  EXPECT_TRUE(alle.fehltOhneGrund(Kanal::me));
  EXPECT_FALSE(alle.fehltOhneGrund(Kanal::them));
  EXPECT_FALSE(lies(R"({"event":"started"})").fehltOhneGrund(Kanal::me));
}

TEST_F(EreignisseTest, ABrokenLineCostsThatLineOnly) {
  const auto alle = lies("{\"event\":\"started\"}\n\nkaputt\n" + std::string(3 * MAX_ZEILE, 'x') +
                         "\n{\"event\":\"done\"}\n{\"chunk\":0,\"chan");
  EXPECT_TRUE(alle.fertig);
  EXPECT_TRUE(alle.offen);
  EXPECT_EQ(alle.unlesbare, 3U);
  EXPECT_EQ(alle.unlesbar, (std::vector<std::size_t>{3, 4, 6}));
}

TEST_F(EreignisseTest, ChunksComeByTheirBeginAndEachOnce) {
  const auto alle = lies(R"({"chunk":1,"channel":"me","path":"p","t0":5.00,"t1":6.00})"
                         "\n"
                         R"({"chunk":0,"channel":"me","path":"p","t0":0.00,"t1":1.00})"
                         "\n"
                         R"({"chunk":0,"channel":"them","path":"p","t0":2.00,"t1":3.00})"
                         "\n"
                         R"({"chunk":1,"channel":"me","path":"p","t0":7.00,"t1":8.00})"
                         "\n");
  const auto chunks = alle.chunksVon(Kanal::me);
  ASSERT_EQ(chunks.size(), 2U);
  EXPECT_EQ(chunks[0].nummer, 0);
  EXPECT_DOUBLE_EQ(chunks[1].t0, 7.0);
}

TEST_F(EreignisseTest, WhatIsNoFileIsNotRead) {
  EXPECT_FALSE(liesEreignisse(ordner_.pfad()));
  EXPECT_FALSE(liesEreignisse(ordner_ / "fehlt"));
}

}  // namespace
}  // namespace hallkorb
