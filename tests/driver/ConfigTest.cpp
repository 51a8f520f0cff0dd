#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/Config.h"

namespace hallkorb {
namespace {

Config lies(std::vector<const char*> argumente) {
  argumente.insert(argumente.begin(), "hallkorb");
  return parseArgs(static_cast<int>(argumente.size()), argumente.data());
}

TEST(ConfigTest, NoArgumentsGiveTheDefaultsAndALiveRecordingIntoTheWorkingDirectory) {
  const Config c = lies({});
  EXPECT_EQ(c.outDir, std::filesystem::current_path().string());
  EXPECT_EQ(c.chunkSeconds, 25.0);
  EXPECT_EQ(c.sampleRate, 16000.0);
  EXPECT_TRUE(c.turnMode);
  EXPECT_EQ(c.minSeconds, 1.2);
  EXPECT_EQ(c.maxSeconds, 4.0);
  EXPECT_EQ(c.silenceSeconds, 0.6);
  EXPECT_EQ(c.silenceRms, 0.006F);
  EXPECT_TRUE(c.video);
  EXPECT_EQ(c.videoWarten, 120.0);
  EXPECT_TRUE(c.echo);
  EXPECT_TRUE(c.rohMikro);
  EXPECT_TRUE(c.echoDatei.empty());
  EXPECT_FALSE(c.ohneNachfilter);
  EXPECT_FALSE(c.chunkOrdner);
  EXPECT_FALSE(c.fensterProbe);
  EXPECT_FALSE(c.alleFenster);
  EXPECT_FALSE(c.fensterWahl);
  EXPECT_FALSE(c.zeitachseTest);
  EXPECT_EQ(modus(c), Modus::live);
}

TEST(ConfigTest, AnEmptyArgumentVectorGivesTheDefaults) {
  EXPECT_EQ(parseArgs(0, nullptr).chunkSeconds, 25.0);
}

TEST(ConfigTest, EveryOptionSetsItsField) {
  const Config c = lies({"--out",
                         "/tmp/x",
                         "--chunk",
                         "30",
                         "--rate",
                         "48000",
                         "--legacy-chunks",
                         "--max",
                         "7.5",
                         "--no-video",
                         "--video-warten",
                         "3",
                         "--kein-echo",
                         "--kein-roh-mikro",
                         "--echo-datei",
                         "a",
                         "b",
                         "c",
                         "--ohne-nachfilter",
                         "--chunk-ordner",
                         "d",
                         "--fenster-probe",
                         "--alle",
                         "--fenster-wahl",
                         "e",
                         "--zeitachse-test"});
  EXPECT_EQ(c.outDir, "/tmp/x");
  EXPECT_EQ(c.chunkSeconds, 30.0);
  EXPECT_EQ(c.sampleRate, 48000.0);
  EXPECT_FALSE(c.turnMode);
  EXPECT_EQ(c.maxSeconds, 7.5);
  EXPECT_FALSE(c.video);
  EXPECT_EQ(c.videoWarten, 3.0);
  EXPECT_FALSE(c.echo);
  EXPECT_FALSE(c.rohMikro);
  EXPECT_EQ(c.echoDatei, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_TRUE(c.ohneNachfilter);
  EXPECT_EQ(c.chunkOrdner, "d");
  EXPECT_TRUE(c.fensterProbe);
  EXPECT_TRUE(c.alleFenster);
  EXPECT_EQ(c.fensterWahl, "e");
  EXPECT_TRUE(c.zeitachseTest);
}

TEST(ConfigTest, NumbersAreReadWholeOrNotAtAll) {
  EXPECT_EQ(lies({"--chunk", "abc", "--max", "3"}).chunkSeconds, 25.0);
  EXPECT_EQ(lies({"--chunk", "abc", "--max", "3"}).maxSeconds, 3.0);
  EXPECT_EQ(lies({"--chunk", " 5"}).chunkSeconds, 25.0);
  EXPECT_EQ(lies({"--chunk", "\t5"}).chunkSeconds, 25.0);
  EXPECT_EQ(lies({"--chunk", "\r5"}).chunkSeconds, 25.0);
  EXPECT_EQ(lies({"--chunk", "5x"}).chunkSeconds, 25.0);
  EXPECT_EQ(lies({"--chunk", "5 "}).chunkSeconds, 25.0);
  EXPECT_EQ(lies({"--chunk", ""}).chunkSeconds, 25.0);
  EXPECT_EQ(lies({"--chunk", "0x1p3"}).chunkSeconds, 8.0);
  EXPECT_EQ(lies({"--chunk", "-1.5e1"}).chunkSeconds, -15.0);
  EXPECT_EQ(lies({"--chunk", "0"}).chunkSeconds, 0.0);
  EXPECT_TRUE(std::isinf(lies({"--chunk", "inf"}).chunkSeconds));
  EXPECT_TRUE(std::isnan(lies({"--rate", "nan"}).sampleRate));
  EXPECT_TRUE(std::isinf(lies({"--rate", "1e999"}).sampleRate));
  EXPECT_EQ(lies({"--chunk", "1,5"}).chunkSeconds, 25.0);
}

TEST(ConfigTest, AValueIsTakenAsItStandsEvenWhenItLooksLikeAnOption) {
  const Config c = lies({"--out", "--no-video", "--kein-echo"});
  EXPECT_EQ(c.outDir, "--no-video");
  EXPECT_TRUE(c.video);
  EXPECT_FALSE(c.echo);
}

TEST(ConfigTest, ARejectedNumberIsConsumedAllTheSame) {
  EXPECT_TRUE(lies({"--chunk", "--no-video"}).video);
}

TEST(ConfigTest, AMissingValueEndsParsingAndKeepsWhatWasSet) {
  const Config c = lies({"--kein-echo", "--out"});
  EXPECT_EQ(c.outDir, std::filesystem::current_path().string());
  EXPECT_FALSE(c.echo);
  EXPECT_EQ(lies({"--max", "9", "--max"}).maxSeconds, 9.0);
  EXPECT_EQ(lies({"--rate"}).sampleRate, 16000.0);
}

TEST(ConfigTest, AnIncompleteEchoFileListIsKeptAndIgnored) {
  const Config c = lies({"--echo-datei", "x", "y", "z", "--echo-datei", "a", "b"});
  EXPECT_EQ(c.echoDatei, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(modus(c), Modus::live);
  EXPECT_TRUE(lies({"--echo-datei", "x", "y", "z", "--echo-datei"}).echoDatei.empty());
}

TEST(ConfigTest, AMissingPathTakesTheEarlierOneBack) {
  EXPECT_FALSE(lies({"--chunk-ordner", "d", "--chunk-ordner"}).chunkOrdner);
  EXPECT_FALSE(lies({"--fenster-wahl", "d", "--fenster-wahl"}).fensterWahl);
}

TEST(ConfigTest, TheLastOccurrenceWins) {
  EXPECT_TRUE(lies({"--kein-echo", "--echo"}).echo);
  EXPECT_TRUE(lies({"--no-video", "--video"}).video);
  EXPECT_EQ(lies({"--chunk", "3", "--chunk", "4"}).chunkSeconds, 4.0);
  EXPECT_EQ(lies({"--chunk", "3", "--chunk", "x"}).chunkSeconds, 3.0);
}

TEST(ConfigTest, UnknownArgumentsAreSkipped) {
  const Config c = lies({"--alle-fenster", "rest", "--ALLE", "--out=/x", "--kein-echo"});
  EXPECT_FALSE(c.alleFenster);
  EXPECT_FALSE(c.echo);
  EXPECT_EQ(c.outDir, std::filesystem::current_path().string());
}

TEST(ConfigTest, TheModesHaveTheirOrderOfPrecedence) {
  EXPECT_EQ(modus(lies({"--zeitachse-test", "--echo-datei", "a", "b", "c"})), Modus::echoDatei);
  EXPECT_EQ(modus(lies({"--fenster-wahl", "f", "--zeitachse-test"})), Modus::zeitachseTest);
  EXPECT_EQ(modus(lies({"--fenster-probe", "--fenster-wahl", "f"})), Modus::fensterWahl);
  EXPECT_EQ(modus(lies({"--fenster-probe"})), Modus::fensterProbe);
  EXPECT_EQ(modus(lies({"--alle"})), Modus::live);
}

TEST(ConfigTest, TheWorkingDirectoryIsTheOneOfTheMomentOfParsing) {
  const auto vorher = std::filesystem::current_path();
  const Config c = lies({});
  std::filesystem::current_path("/");
  EXPECT_EQ(c.outDir, vorher.string());
  std::filesystem::current_path(vorher);
}

}  // namespace
}  // namespace hallkorb
