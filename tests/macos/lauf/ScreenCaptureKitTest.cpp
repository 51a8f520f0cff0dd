// How long a stream of the capture service is kept, run.
#include <memory>
#include <optional>
#include <utility>

#include "platform/macos/MacAufrufe.h"
#include "tests/macos/ersatz/Bildschirm.h"
#include "tests/macos/ersatz/System.h"
#include "tests/macos/lauf/ErsatzTest.h"

namespace hallkorb {
namespace {

namespace bildschirm = ersatz::bildschirm;
using bildschirm::Frage;

struct Empfang final : StromEmpfaenger {
  int toene = 0;
  void ton(const PcmBlock&) override { ++toene; }
  void beendet(const Fehler&) override {}
};

class ScreenCaptureKitTest : public ErsatzTest {
 protected:
  void TearDown() override {
    strom.reset();
    dienst.reset();
    ErsatzTest::TearDown();
  }
  void starte() {
    std::shared_ptr<const Inhalt> inhalt;
    dienst->frageInhalt(false, [&](auto gefunden, const Ergebnis&) { inhalt = gefunden; });
    ASSERT_TRUE(ersatz::ruhe());
    ASSERT_NE(inhalt, nullptr);
    ASSERT_TRUE(strom->baue(*inhalt, std::nullopt, tonEinstellungen(), empfang).gelungen());
    ASSERT_TRUE(strom->verbinde(StromAusgang::ton, "sck.audio").gelungen());
    std::optional<Ergebnis> antwort;
    strom->starte([&](Ergebnis ergebnis) { antwort = std::move(ergebnis); });
    ASSERT_TRUE(ersatz::ruhe());
    ASSERT_TRUE(antwort);
    ASSERT_TRUE(antwort->gelungen());
  }

  std::shared_ptr<SckAufrufe> dienst = screenCaptureKit();
  std::unique_ptr<StromAufrufe> strom = dienst->strom();
  std::shared_ptr<Empfang> empfang = std::make_shared<Empfang>();
};

TEST_F(ScreenCaptureKitTest, SoundArrivesUntilTheStreamIsStopped) {
  starte();
  EXPECT_EQ(bildschirm::queue(), "sck.audio");
  EXPECT_TRUE(bildschirm::ton({.kanaele = {{1, 2}, {3, 4}}}, {}));
  EXPECT_EQ(empfang->toene, 1);
  std::optional<Ergebnis> antwort;
  strom->stoppe([&](Ergebnis ergebnis) { antwort = std::move(ergebnis); });
  ASSERT_TRUE(ersatz::ruhe());
  ASSERT_TRUE(antwort);
  EXPECT_TRUE(antwort->gelungen());
  strom->gibFrei();
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(laufzeit::lebende("SCStream"), 0);
  EXPECT_EQ(bildschirm::zuFruehFreigegeben(), 0);
}

TEST_F(ScreenCaptureKitTest, AStreamAndItsReceiverAreKeptUntilTheStopIsAnswered) {
  starte();
  bildschirm::stumm(Frage::stopp, true);
  std::optional<Ergebnis> antwort;
  strom->stoppe([&](Ergebnis ergebnis) { antwort = std::move(ergebnis); });
  strom->gibFrei();
  EXPECT_EQ(laufzeit::lebende("SCStream"), 1);
  EXPECT_EQ(laufzeit::lebende("HKStromEmpfaenger"), 1);
  bildschirm::antworte();
  ASSERT_TRUE(antwort);
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(laufzeit::lebende("SCStream"), 0);
  EXPECT_EQ(laufzeit::lebende("HKStromEmpfaenger"), 0);
  EXPECT_EQ(bildschirm::zuFruehFreigegeben(), 0);
}

TEST_F(ScreenCaptureKitTest, AStopThatIsAnsweredTwiceIsToldTwiceAndFreesOnce) {
  starte();
  bildschirm::stumm(Frage::stopp, true);
  int antworten = 0;
  strom->stoppe([&](const Ergebnis&) { ++antworten; });
  strom->gibFrei();
  bildschirm::antworte(2);
  EXPECT_EQ(antworten, 2);
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(laufzeit::lebende("SCStream"), 0);
}

// The service drops the question: nothing tells any more when the stream is out of use.
TEST_F(ScreenCaptureKitTest, AStreamWhoseStopIsNeverAnsweredIsKeptForGood) {
  starte();
  bildschirm::stumm(Frage::stopp, true);
  strom->stoppe([](const Ergebnis&) {});
  strom->gibFrei();
  ersatz::setzeZurueck();
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(laufzeit::lebende("SCStream"), 1);
  for (const char* klasse : {"SCStream", "HKStromEmpfaenger", "SCContentFilter", "SCDisplay"})
    duldet(klasse, 1);
  if (laufzeit::lebende("HKSchlange") > 0) duldet("HKSchlange", 1);  // where its samples came
}

}  // namespace
}  // namespace hallkorb
