// The calls into the audio engine, run.
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/macos/MacAufrufe.h"
#include "platform/macos/MacHostClock.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/calls/Fehlercodes.h"
#include "tests/macos/doubles/Mikrofon.h"
#include "tests/macos/doubles/System.h"

namespace hallkorb {
namespace {

namespace mikrofon = ersatz::mikrofon;
using mikrofon::Ruf;

struct Empfang final : BlockEmpfaenger {
  std::vector<float> werte;
  std::optional<double> zeit;
  PcmFormat format;
  std::thread::id faden;
  int bloecke = 0;
  void block(const PcmBlock& b) override {
    werte.assign(b.samples.begin(), b.samples.end());
    zeit = b.hostTime;
    format = b.format;
    faden = std::this_thread::get_id();
    ++bloecke;
  }
  void ausgefallen(const Fehler&) override {}
};

class AvEngineTest : public ErsatzTest {
 protected:
  void SetUp() override {
    ErsatzTest::SetUp();
    engine = avEngine();
    engine->baue();
  }
  void TearDown() override {
    engine.reset();
    ErsatzTest::TearDown();
  }
  void laufe() {
    EngineFormat format;
    ASSERT_TRUE(engine->liesFormat(format).gelungen());
    ASSERT_TRUE(engine->setzeAbgriff(4800, empfang).gelungen());
    ASSERT_TRUE(engine->starte().gelungen());
  }

  std::unique_ptr<EngineAufrufe> engine;
  std::shared_ptr<Empfang> empfang = std::make_shared<Empfang>();
};

TEST_F(AvEngineTest, BlocksArriveWithTheirTimeOnTheTapThread) {
  laufe();
  const double jetzt = MacHostClock().sekunden();
  ASSERT_TRUE(mikrofon::liefere({{0.25F, -0.5F, 1.0F}}, static_cast<std::uint64_t>(jetzt * 24e6)));
  EXPECT_EQ(empfang->werte, (std::vector<float>{0.25F, -0.5F, 1.0F}));
  ASSERT_TRUE(empfang->zeit);
  EXPECT_NEAR(*empfang->zeit, jetzt, 1e-6);
  EXPECT_NE(empfang->faden, std::this_thread::get_id());
  EXPECT_EQ(mikrofon::bestellteFrames(), 4800U);
}

TEST_F(AvEngineTest, ABlockWithoutATimeHasNone) {
  laufe();
  ASSERT_TRUE(mikrofon::liefere({{1.0F}}, 0));
  EXPECT_FALSE(empfang->zeit);
}

// An aggregate device: its layout is part of the format, and the tap takes that as it is.
TEST_F(AvEngineTest, MoreThanTwoChannelsCarryTheirLayout) {
  mikrofon::geraet(44100, 4, 7);
  EngineFormat format;
  ASSERT_TRUE(engine->liesFormat(format).gelungen());
  EXPECT_EQ(format.rate, 44100);
  EXPECT_EQ(format.kanaele, 4U);
  laufe();
  ASSERT_TRUE(mikrofon::liefere({{1}, {2}, {3}, {4}}, 1));
  EXPECT_EQ(empfang->format.layout, 7U);
  EXPECT_EQ(empfang->format.channels, 4U);
  EXPECT_EQ(empfang->werte, (std::vector<float>{1, 2, 3, 4}));
}

// Without tags of their own they would look the same, and the resampler would go on from one to the
// other.
TEST_F(AvEngineTest, LayoutsThatAreOnlyDescribedAreToldApart) {
  const auto format = [this](std::uint32_t tag, std::uint32_t bits,
                             const std::vector<std::uint32_t>& kanaele) {
    mikrofon::geraet(44100, 3, tag);
    mikrofon::beschreibe(bits, kanaele);
    engine = avEngine();
    engine->baue();
    laufe();
    EXPECT_TRUE(mikrofon::liefere({{1}, {2}, {3}}, 1));
    return empfang->format;
  };
  constexpr std::uint32_t JE_KANAL = 0;
  constexpr std::uint32_t JE_BIT = 1U << 16U;
  const PcmFormat eines = format(JE_KANAL, 0, {1, 2, 3});
  EXPECT_EQ(format(JE_KANAL, 0, {1, 2, 3}), eines);
  EXPECT_NE(format(JE_KANAL, 0, {1, 2, 4}), eines);
  EXPECT_NE(format(JE_KANAL, 0, {2, 1, 3}), eines);
  const PcmFormat bits = format(JE_BIT, 7, {});
  EXPECT_EQ(format(JE_BIT, 7, {}), bits);
  EXPECT_NE(format(JE_BIT, 11, {}), bits);
  EXPECT_EQ(empfang->bloecke, 7);
}

TEST_F(AvEngineTest, BlocksOfAFormatThatCannotBeReadAreLeftOut) {
  mikrofon::bits(24);
  laufe();
  ASSERT_TRUE(mikrofon::liefere({{1.0F}}, 1));
  EXPECT_EQ(empfang->bloecke, 0);
}

TEST_F(AvEngineTest, BlocksForAReceiverThatIsGoneGoNowhere) {
  laufe();
  empfang.reset();
  EXPECT_TRUE(mikrofon::liefere({{1.0F}}, 1));
}

TEST_F(AvEngineTest, ATapsLastBlockMayComeAfterItsRemoval) {
  laufe();
  mikrofon::haltAbgriff();
  ASSERT_TRUE(engine->entferneAbgriff().gelungen());
  EXPECT_FALSE(mikrofon::liefere({{1.0F}}, 1));
  ASSERT_TRUE(engine->stoppe().gelungen());
  engine->gibFrei();
  EXPECT_TRUE(mikrofon::liefereSpaet({{0.5F}}));
  EXPECT_EQ(empfang->werte, (std::vector<float>{0.5F}));
}

TEST_F(AvEngineTest, WhatACallRaisesIsItsError) {
  EngineFormat format;
  mikrofon::wirfBei(Ruf::format, true);
  ASSERT_TRUE(engine->liesFormat(format).gescheitert());
  EXPECT_TRUE(engine->setzeAbgriff(4800, empfang).gescheitert());
  mikrofon::wirfBei(Ruf::format, false);
  mikrofon::wirfBei(Ruf::abgriff, true);
  const Ergebnis abgriff = engine->setzeAbgriff(4800, empfang);
  ASSERT_TRUE(abgriff.gescheitert());
  EXPECT_EQ(abgriff.fehler().domain, "NSException");
  EXPECT_EQ(abgriff.fehler().description,
            "com.apple.coreaudio.avfaudio: required condition is false: "
            "format.sampleRate == hwFormat.sampleRate");
  mikrofon::wirfBei(Ruf::abgriff, false);
  laufe();
  EXPECT_TRUE(engine->setzeAbgriff(4800, empfang).gescheitert());  // one tap for each bus
  for (const Ruf ruf : {Ruf::bereite, Ruf::starte, Ruf::entferne, Ruf::stoppe})
    mikrofon::wirfBei(ruf, true);
  EXPECT_TRUE(engine->starte().gescheitert());
  EXPECT_TRUE(engine->entferneAbgriff().gescheitert());
  EXPECT_TRUE(engine->stoppe().gescheitert());
}

TEST_F(AvEngineTest, WithoutADeviceTheTapIsRefused) {
  mikrofon::geraet(0, 0);
  EngineFormat format{1, 1};
  ASSERT_TRUE(engine->liesFormat(format).gelungen());
  EXPECT_EQ(format.rate, 0);
  EXPECT_EQ(format.kanaele, 0U);
  EXPECT_TRUE(engine->setzeAbgriff(4800, empfang).gescheitert());
}

TEST_F(AvEngineTest, AStartThatIsRefusedSaysWhy) {
  EngineFormat format;
  ASSERT_TRUE(engine->liesFormat(format).gelungen());
  // Of audio units, of components, of the engine, and of the hardware, whose codes are four
  // letters.
  std::vector<long> alle = codes(-10847, -10879);
  for (const auto& weitere : {codes(-66740, -66754), codes(-80800, -80802)})
    alle.insert(alle.end(), weitere.begin(), weitere.end());
  for (const std::int32_t code :
       {-50, vier("stop"), vier("what"), vier("who?"), vier("!siz"), vier("nope"), vier("!obj"),
        vier("!dev"), vier("!str"), vier("unop"), vier("nrdy"), vier("!dat"), vier("!hog")})
    alle.push_back(code);
  for (const long code : alle) {
    mikrofon::startFehler(true, true, code);
    EXPECT_EQ(engine->starte(),
              (Fehler{"com.apple.coreaudio.avfaudio", code, "kAudioUnitErr_FormatNotSupported"}));
    EXPECT_FALSE(engine->laeuft());
  }
  mikrofon::startFehler(true, false);
  EXPECT_EQ(engine->starte(), (Fehler{"hallkorb", 0, "Fehler ohne Beschreibung"}));
}

TEST_F(AvEngineTest, AChangeOfTheDeviceIsReportedUntilNobodyWatches) {
  laufe();
  auto wechsel = std::make_shared<int>(0);
  engine->beobachte([wechsel] { ++*wechsel; });
  EXPECT_TRUE(engine->laeuft());
  mikrofon::wechsle(44100, 2);
  EXPECT_EQ(*wechsel, 1);
  EXPECT_FALSE(engine->laeuft());
  engine->beobachteNichtMehr();
  engine->beobachteNichtMehr();
  mikrofon::melde();
  EXPECT_EQ(*wechsel, 1);
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(wechsel.use_count(), 1);
}

TEST_F(AvEngineTest, AChangeInTheMiddleOfAStartIsReported) {
  int wechsel = 0;
  engine->beobachte([&] { ++wechsel; });
  mikrofon::meldeBeimStart(true);
  laufe();
  EXPECT_EQ(wechsel, 1);
  EXPECT_TRUE(engine->laeuft());
  engine->beobachteNichtMehr();
}

// The notification holds the engine while it is posted. The base class looks where it goes.
TEST_F(AvEngineTest, AnEngineThatIsClosedWhileItsNotificationIsPostedOutlivesIt) {
  laufe();
  int wechsel = 0;
  engine->beobachte([&] { ++wechsel; });
  mikrofon::melde([&] {
    engine->beobachteNichtMehr();
    static_cast<void>(engine->stoppe());
    engine->gibFrei();
  });
  EXPECT_EQ(wechsel, 0);
  EXPECT_EQ(mikrofon::falscheFreigaben(), 0);
  EXPECT_EQ(laufzeit::lebende("AVAudioEngine"), 1);
  ersatz::lassZeitVergehen(9);
  EXPECT_EQ(laufzeit::lebende("AVAudioEngine"), 1);
  ersatz::lassZeitVergehen(2);
  EXPECT_EQ(laufzeit::lebende("AVAudioEngine"), 0);
}

TEST_F(AvEngineTest, WithoutAnEngineNothingHappens) {
  engine->gibFrei();
  engine->gibFrei();
  EngineFormat format{1, 1};
  EXPECT_TRUE(engine->liesFormat(format).gelungen());
  EXPECT_EQ(format.kanaele, 0U);
  EXPECT_FALSE(engine->laeuft());
  EXPECT_TRUE(engine->entferneAbgriff().gelungen());
  EXPECT_TRUE(engine->stoppe().gelungen());
  EXPECT_TRUE(engine->starte().gescheitert());
}

TEST_F(AvEngineTest, EachStateOfThePermissionIsRead) {
  for (const long status : {0L, 1L, 2L, 3L}) {
    mikrofon::erlaubnis(status);
    EXPECT_EQ(static_cast<long>(engine->erlaubnis()), status);
  }
}

TEST_F(AvEngineTest, TheUsersAnswerArrivesOnceAndTheQuestionIsGone) {
  auto antworten = std::make_shared<std::vector<bool>>();
  engine->frageErlaubnis([antworten](bool ja) { antworten->push_back(ja); });
  EXPECT_TRUE(mikrofon::gefragt());
  mikrofon::antworte(true);
  mikrofon::antworte(true);
  engine->frageErlaubnis([antworten](bool ja) { antworten->push_back(ja); });
  std::thread([] { mikrofon::antworte(false); }).join();
  EXPECT_EQ(*antworten, (std::vector<bool>{true, false}));
  EXPECT_EQ(antworten.use_count(), 1);
}

TEST_F(AvEngineTest, AnAnswerThatIsGivenTwiceArrivesTwice) {
  auto antworten = std::make_shared<std::vector<bool>>();
  engine->frageErlaubnis([antworten](bool ja) { antworten->push_back(ja); });
  engine.reset();  // nobody is left who asked
  mikrofon::antworte(true, 2);
  EXPECT_EQ(*antworten, (std::vector<bool>{true, true}));
  EXPECT_EQ(antworten.use_count(), 1);
}

TEST_F(AvEngineTest, AQuestionThatIsNeverAnsweredLeavesNothing) {
  auto antworten = std::make_shared<int>(0);
  engine->frageErlaubnis([antworten](bool) { ++*antworten; });
  engine.reset();
  EXPECT_TRUE(mikrofon::gefragt());
  ersatz::setzeZurueck();  // the question is dropped
  EXPECT_EQ(*antworten, 0);
  EXPECT_EQ(antworten.use_count(), 1);
}

}  // namespace
}  // namespace hallkorb
