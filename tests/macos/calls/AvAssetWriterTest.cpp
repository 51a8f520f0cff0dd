// The calls into the asset writer, run.
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/macos/MacAufrufe.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/calls/Fehlercodes.h"
#include "tests/macos/doubles/Proben.h"
#include "tests/macos/doubles/Schreiber.h"
#include "tests/macos/doubles/System.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

namespace schreiber = ersatz::schreiber;
using schreiber::Ruf;

class AvAssetWriterTest : public ErsatzTest {
 protected:
  void TearDown() override {
    writer.reset();
    ErsatzTest::TearDown();
  }
  Ergebnis baue(int breite = 1280) { return writer->baue(pfad, {breite, 800, 1'400'000, 30, 15}); }
  void beginne() {
    ASSERT_TRUE(baue().gelungen());
    ASSERT_TRUE(writer->nimmtEingang());
    ASSERT_TRUE(writer->fuegeEingangHinzu().gelungen());
    ASSERT_TRUE(writer->beginneSchreiben().gelungen());
    ASSERT_TRUE(writer->setzeBeginn({1'000'000'000, 1'000'000'000}).gelungen());
  }
  Ergebnis haengeAn(double sekunden) {
    const auto probe = ersatz::bildprobe({}, {sekunden});
    return writer->haengeAn(probe.get());
  }

  TempOrdner ordner;
  const std::string pfad = ordner / "video.mp4";
  std::unique_ptr<SchreiberAufrufe> writer = avAssetWriter();
};

TEST_F(AvAssetWriterTest, AVideoIsWrittenAndFinished) {
  ASSERT_TRUE(baue().gelungen());
  EXPECT_TRUE(writer->setzeFragmente({2, 1}).gelungen());
  EXPECT_TRUE(writer->nimmtEingang());
  EXPECT_TRUE(writer->fuegeEingangHinzu().gelungen());
  EXPECT_FALSE(writer->nimmtEingang());
  EXPECT_EQ(writer->status(), SchreiberStatus::unbekannt);
  EXPECT_TRUE(writer->beginneSchreiben().gelungen());
  EXPECT_TRUE(writer->setzeBeginn({1'000'000'000, 1'000'000'000}).gelungen());
  EXPECT_EQ(writer->status(), SchreiberStatus::schreibt);
  EXPECT_TRUE(writer->bereit());
  EXPECT_TRUE(haengeAn(1).gelungen());
  EXPECT_TRUE(haengeAn(1.5).gelungen());
  EXPECT_TRUE(writer->markiereFertig().gelungen());
  EXPECT_TRUE(writer->setzeEnde({2, 1}).gelungen());
  auto fertig = std::make_shared<int>(0);
  EXPECT_TRUE(writer->schliesseAb([fertig] { ++*fertig; }).gelungen());
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(*fertig, 1);
  EXPECT_EQ(fertig.use_count(), 1);
  EXPECT_EQ(writer->status(), SchreiberStatus::fertig);
  EXPECT_FALSE(writer->fehler());
  EXPECT_EQ(schreiber::zeiten(), (std::vector<double>{1, 1.5}));
  EXPECT_EQ(schreiber::einstellungen().at("AVVideoWidthKey"), "1280");
  EXPECT_EQ(schreiber::einstellungen().at("AVVideoAverageBitRateKey"), "1400000");
}

// The function that is called at the end lives nowhere else by then.
TEST_F(AvAssetWriterTest, TheEndIsReportedAfterTheCallHasReturned) {
  beginne();
  schreiber::halteAbschluss(true);
  std::string gesagt;
  {
    std::string text(100, 'x');
    ASSERT_TRUE(
        writer->schliesseAb([text = std::move(text), &gesagt] { gesagt = text; }).gelungen());
  }
  EXPECT_EQ(gesagt, "");
  schreiber::lassAbschliessen(true);
  EXPECT_EQ(gesagt, std::string(100, 'x'));
}

// Nobody waits any more: the base class looks whether the writer was there until the end.
TEST_F(AvAssetWriterTest, AWriterIsKeptUntilItsFileIsComplete) {
  beginne();
  schreiber::halteAbschluss(true);
  ASSERT_TRUE(writer->schliesseAb([] {}).gelungen());
  writer.reset();
  EXPECT_EQ(laufzeit::lebende("AVAssetWriter"), 1);
  EXPECT_EQ(schreiber::zuFruehFreigegeben(), 0);
  schreiber::lassAbschliessen(true);
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(laufzeit::lebende("AVAssetWriter"), 0);
}

TEST_F(AvAssetWriterTest, AnEndThatFailsIsAFailedWriter) {
  beginne();
  schreiber::halteAbschluss(true);
  int fertig = 0;
  ASSERT_TRUE(writer->schliesseAb([&] { ++fertig; }).gelungen());
  schreiber::lassAbschliessen(false);
  EXPECT_EQ(fertig, 1);
  EXPECT_EQ(writer->status(), SchreiberStatus::gescheitert);
  ASSERT_TRUE(writer->fehler());
  EXPECT_EQ(writer->fehler()->code, -11800);
}

TEST_F(AvAssetWriterTest, AnEndThatIsReportedTwiceArrivesTwiceAndFreesOnce) {
  beginne();
  schreiber::halteAbschluss(true);
  auto fertig = std::make_shared<int>(0);
  ASSERT_TRUE(writer->schliesseAb([fertig] { ++*fertig; }).gelungen());
  writer.reset();
  schreiber::lassAbschliessen(true, 2);
  ASSERT_TRUE(ersatz::ruhe());
  EXPECT_EQ(*fertig, 2);
  EXPECT_EQ(fertig.use_count(), 1);
}

// The system has dropped the handler, and with it what that held.
TEST_F(AvAssetWriterTest, AnEndThatIsNeverReportedLeavesNothing) {
  beginne();
  schreiber::halteAbschluss(true);
  auto fertig = std::make_shared<int>(0);
  ASSERT_TRUE(writer->schliesseAb([fertig] { ++*fertig; }).gelungen());
  writer.reset();
  EXPECT_EQ(laufzeit::lebende("AVAssetWriter"), 1);
  ersatz::setzeZurueck();
  EXPECT_EQ(*fertig, 0);
  EXPECT_EQ(fertig.use_count(), 1);
  ersatz::setzeZurueck();  // this one went too early by intent
}

TEST_F(AvAssetWriterTest, WhatBuildingRaisesOrReturnsIsItsError) {
  schreiber::keiner(true);
  EXPECT_EQ(baue(),
            (Fehler{"AVFoundationErrorDomain", -11841, "The operation could not be completed"}));
  schreiber::keiner(true, false);
  EXPECT_EQ(baue(), (Fehler{"hallkorb", 0, "Fehler ohne Beschreibung"}));
  schreiber::keiner(false);
  schreiber::wirfBei(Ruf::bau, true);
  EXPECT_TRUE(baue().gescheitert());
  schreiber::wirfBei(Ruf::bau, false);
  const Ergebnis ohneBreite = baue(0);
  ASSERT_TRUE(ohneBreite.gescheitert());
  EXPECT_EQ(ohneBreite.fehler().description,
            "NSInvalidArgumentException: Video dimension must be positive");
}

TEST_F(AvAssetWriterTest, ANameThatIsNotUtf8IsRefused) {
  const Ergebnis ergebnis = writer->baue("/tmp/\xff.mp4", {1280, 800, 1'400'000, 30, 15});
  EXPECT_EQ(ergebnis, (Fehler{"posix", EILSEQ, "Dateiname ist kein UTF-8"}));
}

TEST_F(AvAssetWriterTest, CallsAtTheWrongTimeAreErrors) {
  ASSERT_TRUE(baue().gelungen());
  ASSERT_TRUE(writer->fuegeEingangHinzu().gelungen());
  const std::vector<std::function<Ergebnis()>> rufe = {
      [&] { return writer->setzeBeginn({1, 1}); }, [&] { return haengeAn(1); },
      [&] { return writer->markiereFertig(); },    [&] { return writer->setzeEnde({1, 1}); },
      [&] { return writer->schliesseAb([] {}); },
  };
  for (const auto& ruf : rufe) {
    const Ergebnis ergebnis = ruf();
    ASSERT_TRUE(ergebnis.gescheitert());
    EXPECT_EQ(ergebnis.fehler().domain, "NSException");
    EXPECT_NE(ergebnis.fehler().description.find("Cannot call method when status is 0"),
              std::string::npos);
  }
  schreiber::wirfBei(Ruf::fragmente, true);
  EXPECT_TRUE(writer->setzeFragmente({2, 1}).gescheitert());
  schreiber::wirfBei(Ruf::beginne, true);
  EXPECT_TRUE(writer->beginneSchreiben().gescheitert());
}

TEST_F(AvAssetWriterTest, AnInputThatIsNotTaken) {
  ASSERT_TRUE(baue().gelungen());
  schreiber::nimmtEingang(false);
  EXPECT_FALSE(writer->nimmtEingang());
  schreiber::wirfBei(Ruf::fuegeHinzu, true);
  EXPECT_TRUE(writer->fuegeEingangHinzu().gescheitert());
}

TEST_F(AvAssetWriterTest, AFileInTheWayMakesWritingFailUntilItIsRemoved) {
  std::ofstream(pfad) << "alt";
  ASSERT_TRUE(baue().gelungen());
  ASSERT_TRUE(writer->fuegeEingangHinzu().gelungen());
  const Ergebnis ergebnis = writer->beginneSchreiben();
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, -11823);
  EXPECT_EQ(writer->status(), SchreiberStatus::gescheitert);
  std::filesystem::remove(pfad);
  ASSERT_TRUE(baue().gelungen());
  ASSERT_TRUE(writer->fuegeEingangHinzu().gelungen());
  EXPECT_TRUE(writer->beginneSchreiben().gelungen());
}

TEST_F(AvAssetWriterTest, ASampleThatIsNotTakenFailsTheWriter) {
  beginne();
  EXPECT_TRUE(haengeAn(2).gelungen());
  const Ergebnis ergebnis = haengeAn(2);  // times must rise
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, -11800);
  EXPECT_EQ(writer->status(), SchreiberStatus::gescheitert);
}

// All that the framework numbers, and a reason of the system's.
TEST_F(AvAssetWriterTest, EveryFailureKeepsItsCode) {
  std::vector<long> alle = codes(-11800, -11890);
  alle.push_back(-12780);
  for (const long code : alle) {
    const Fehler fehler{"AVFoundationErrorDomain", code, "The operation could not be completed"};
    schreiber::fehlercode(code);
    schreiber::keiner(true);
    EXPECT_EQ(baue(), fehler);
    schreiber::keiner(false);
    ASSERT_TRUE(baue().gelungen());
    schreiber::scheitereBeimStart(true);
    EXPECT_EQ(writer->beginneSchreiben(), fehler);
    EXPECT_EQ(writer->fehler(), fehler);
    schreiber::scheitereBeimStart(false);
    std::filesystem::remove(pfad);
    beginne();
    schreiber::scheitereBeimAnhaengen(true);
    EXPECT_EQ(haengeAn(2), fehler);
    schreiber::scheitereBeimAnhaengen(false);
    EXPECT_EQ(writer->fehler(), fehler);
    std::filesystem::remove(pfad);
    beginne();
    schreiber::scheitere();
    EXPECT_EQ(writer->status(), SchreiberStatus::gescheitert);
    EXPECT_EQ(writer->fehler(), fehler);
    std::filesystem::remove(pfad);
  }
}

TEST_F(AvAssetWriterTest, AnInputThatIsNotReadyShows) {
  beginne();
  schreiber::bereit(false);
  EXPECT_FALSE(writer->bereit());
}

}  // namespace
}  // namespace hallkorb
