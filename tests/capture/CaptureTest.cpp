// Both captures, on a source that each test controls.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capture/MicCapture.h"
#include "capture/SystemAudioCapture.h"
#include "tests/support/AusgabeFaenger.h"

namespace hallkorb {
namespace {

constexpr PcmFormat MONO{16000.0, 1, true};

// Hands every sample on, or none.
class Durchreiche final : public AudioConverterFactory {
 public:
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& /*quellformat*/,
                                            double /*rate*/) override {
    class Gleich final : public AudioConverter {
     public:
      explicit Gleich(const bool& kaputt) : kaputt_(kaputt) {}
      Umwandlung wandle(const PcmBlock& block, std::size_t /*kapazitaet*/,
                        std::vector<float>& ausgabe) override {
        if (kaputt_) return Umwandlung::gescheitert({"probe", 1, "Filter kaputt"});
        std::vector<float> platz;
        const auto kanal = block.ersterKanal(platz);
        ausgabe.assign(kanal.begin(), kanal.end());
        return {};
      }

     private:
      const bool& kaputt_;
    };
    return std::make_unique<Gleich>(kaputt);
  }
  bool kaputt = false;
};

struct Quelle {
  Ergebnis startErgebnis;
  Ergebnis stoppErgebnis;
  AudioInputListener* hoerer = nullptr;
  int gestoppt = 0;
};

class ProbeInput final : public AudioInput {
 public:
  explicit ProbeInput(Quelle& quelle) : quelle_(quelle) {}
  Ergebnis start(AudioInputListener& hoerer) override {
    if (quelle_.startErgebnis.gelungen()) quelle_.hoerer = &hoerer;
    return quelle_.startErgebnis;
  }
  Ergebnis stop() override {
    ++quelle_.gestoppt;
    return quelle_.stoppErgebnis;
  }

 private:
  Quelle& quelle_;
};

class CaptureTest : public testing::Test {
 protected:
  void block(std::size_t n, std::optional<double> t) {
    const std::vector<float> samples(n, 0.5F);
    quelle.hoerer->block({MONO, static_cast<std::uint32_t>(n), samples, t});
  }

  AusgabeFaenger faenger;
  Quelle quelle;
  Durchreiche konverter;
  Zeitachse zeit{"me", 16000.0, 100.0};
  std::vector<std::size_t> bloecke;  // the lengths that were handed on
  Weiter merke = [this](const std::vector<float>& samples) { bloecke.push_back(samples.size()); };
};

class MicCaptureTest : public CaptureTest {
 protected:
  MicCapture mic{16000.0, zeit, merke, std::make_unique<ProbeInput>(quelle), konverter};
};

TEST_F(MicCaptureTest, BlocksArriveOnTheTimelineAlsoEmptyOnes) {
  ASSERT_TRUE(mic.start().gelungen());
  EXPECT_EQ(faenger.fehler(), "[hallkorb] Mikrofon-Capture gestartet\n");
  block(160, 100.01);
  block(160, 100.0);  // wholly an overlap
  block(0, 100.01);
  EXPECT_EQ(bloecke, (std::vector<std::size_t>{320, 0, 0}));
}

TEST_F(MicCaptureTest, ABlockWithoutATimeMovesTheExpectationOn) {
  ASSERT_TRUE(mic.start().gelungen());
  block(160, 100.0);
  block(160, std::nullopt);
  block(160, 100.02);
  EXPECT_EQ(bloecke, (std::vector<std::size_t>{160, 160, 160}));
  EXPECT_EQ(zeit.luecken + zeit.ueberlappungen, 0);
}

TEST_F(MicCaptureTest, ABlockThatCannotBeConvertedIsAHoleForTheTimeline) {
  ASSERT_TRUE(mic.start().gelungen());
  block(160, 100.0);
  konverter.kaputt = true;
  block(160, 100.01);
  EXPECT_EQ(bloecke.size(), 1U);
  EXPECT_EQ(zeit.geschrieben, 160);
  konverter.kaputt = false;
  block(160, 100.02);
  EXPECT_EQ(bloecke.back(), 320U);
  EXPECT_EQ(zeit.luecken, 1);
}

TEST_F(MicCaptureTest, AFailedStartIsTheCallersToReport) {
  quelle.startErgebnis = Fehler{"probe", 3, "kein Mikrofon"};
  EXPECT_EQ(mic.start(), quelle.startErgebnis);
  EXPECT_EQ(faenger.fehler(), "");
}

TEST_F(MicCaptureTest, WhatBefallsTheDeviceIsReported) {
  ASSERT_TRUE(mic.start().gelungen());
  quelle.hoerer->unterbrochen({"probe", 1, "abgezogen"});
  quelle.hoerer->fortgesetzt();
  quelle.hoerer->verloren(7);
  quelle.hoerer->hinweis({"probe", 2, "liefert mit 44100 Hz"});
  EXPECT_EQ(faenger.fehler(),
            "[hallkorb] Mikrofon-Capture gestartet\n"
            "[hallkorb] Mikrofon unterbrochen: abgezogen\n"
            "[hallkorb] Mikrofon wieder da\n"
            "[hallkorb] Mikrofon: 7 Bloecke verloren, Verarbeitung zu langsam\n"
            "[hallkorb] liefert mit 44100 Hz\n");
}

TEST_F(CaptureTest, TheMicrophoneIsStoppedWithTheCapture) {
  {
    MicCapture mic(16000.0, zeit, merke, std::make_unique<ProbeInput>(quelle), konverter);
    ASSERT_TRUE(mic.start().gelungen());
  }
  EXPECT_EQ(quelle.gestoppt, 1);
}

// One block of a second of `wert`.
class Nullen : public MicCaptureTest {
 protected:
  void sekunden(int anzahl, float wert) {
    const std::vector<float> samples(16000, wert);
    for (int i = 0; i < anzahl; ++i)
      quelle.hoerer->block({MONO, 16000, samples, 100.0 + sekunde_++});
  }
  // The lines about zeros.
  std::vector<std::string> zeilen() {
    std::vector<std::string> alle;
    for (const std::string& zeile : faenger.fehlerZeilen())
      if (zeile.find("Nullen") != std::string::npos) alle.push_back(zeile);
    return alle;
  }
  void SetUp() override { ASSERT_TRUE(mic.start().gelungen()); }

 private:
  int sekunde_ = 0;
};

TEST_F(Nullen, AfterSoundAreReportedOnceAndTheirEndToo) {
  sekunden(3, 0.1F);
  sekunden(89, 0.0F);
  EXPECT_TRUE(zeilen().empty());
  sekunden(40, 0.0F);
  sekunden(2, -1e-9F);
  EXPECT_EQ(zeilen(), (std::vector<std::string>{
                          "[hallkorb] Mikrofon: seit 90 s nur Nullen — stumm geschaltet?",
                          "[hallkorb] Mikrofon: wieder Ton, nach 129 s Nullen"}));
  sekunden(91, 0.0F);
  EXPECT_EQ(zeilen().size(), 3U);
  EXPECT_EQ(zeilen().back(), "[hallkorb] Mikrofon: seit 90 s nur Nullen — stumm geschaltet?");
}

TEST_F(Nullen, FromTheBeginningAreNoLoss) {
  sekunden(200, 0.0F);
  EXPECT_TRUE(zeilen().empty());
}

TEST_F(Nullen, ASingleSampleOfSoundInterrupts) {
  sekunden(1, 0.1F);
  for (int i = 0; i < 3; ++i) {
    sekunden(89, 0.0F);
    std::vector<float> knack(16000, 0.0F);
    knack[15999] = 1.0F / 32768;
    quelle.hoerer->block({MONO, 16000, knack, std::nullopt});
  }
  EXPECT_TRUE(zeilen().empty());
}

TEST_F(Nullen, OnlyTheRecordedChannelCounts) {
  sekunden(1, 0.1F);
  std::vector<float> rechts(32000, 0.0F);
  for (std::size_t i = 1; i < rechts.size(); i += 2)
    rechts[i] = 0.5F;
  for (int i = 0; i < 90; ++i)
    quelle.hoerer->block({{16000.0, 2, true}, 16000, rechts, std::nullopt});
  EXPECT_EQ(zeilen().size(), 1U);
}

TEST_F(Nullen, EmptyBlocksAndImpossibleOnesAreNone) {
  sekunden(1, 0.1F);
  for (int i = 0; i < 100; ++i) {
    quelle.hoerer->block({MONO, 0, {}, std::nullopt});
    sekunden(1, i % 50 == 0 ? 0.1F : 0.0F);
  }
  EXPECT_TRUE(zeilen().empty());
}

class SystemAudioCaptureTest : public CaptureTest {
 protected:
  SystemAudioCapture sys{16000.0, zeit, std::make_unique<ProbeInput>(quelle), konverter};
};

TEST_F(SystemAudioCaptureTest, BlocksArriveOnceAReceiverIsSet) {
  ASSERT_TRUE(sys.start().gelungen());
  EXPECT_EQ(faenger.fehler(), "[hallkorb] System-Audio-Capture gestartet\n");
  block(160, 100.0);
  EXPECT_TRUE(bloecke.empty());
  sys.weiter = merke;
  block(160, 100.01);
  block(160, std::nullopt);
  EXPECT_EQ(bloecke, (std::vector<std::size_t>{160, 160}));
}

TEST_F(SystemAudioCaptureTest, AMissingDisplayIsPassedUp) {
  quelle.startErgebnis = Fehler{"hallkorb", 1, "kein Display gefunden"};
  EXPECT_EQ(sys.start(), quelle.startErgebnis);
  EXPECT_EQ(quelle.hoerer, nullptr);
  EXPECT_EQ(faenger.fehler(), "");
}

TEST_F(SystemAudioCaptureTest, WhatThePlatformSaysToTheStopIsPassedUp) {
  ASSERT_TRUE(sys.start().gelungen());
  EXPECT_EQ(sys.stop(), Ergebnis());
  quelle.stoppErgebnis = Fehler{"SCStreamErrorDomain", -3805, "Verbindung weg"};
  EXPECT_EQ(sys.stop(), quelle.stoppErgebnis);
}

TEST_F(SystemAudioCaptureTest, AStreamThatTheServiceEndsIsReported) {
  ASSERT_TRUE(sys.start().gelungen());
  quelle.hoerer->unterbrochen({"probe", 1, "Dienst beendet"});
  quelle.hoerer->fortgesetzt();
  EXPECT_EQ(faenger.fehler(),
            "[hallkorb] System-Audio-Capture gestartet\n"
            "[hallkorb] SCStream gestoppt: Dienst beendet\n"
            "[hallkorb] System-Audio wieder da\n");
}

}  // namespace
}  // namespace hallkorb
