// The order of the calls into the asset writer, in every course that a video can take.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <new>

#include "base/Speichermangel.h"
#include "platform/macos/screen/MacBild.h"
#include "platform/macos/video/AssetSchreiber.h"
#include "tests/platform/macos/Buch.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

struct Writer {
  Buch buch;
  Ergebnis bauErgebnis;
  Ergebnis fragmentErgebnis;
  bool nimmtEingang = true;
  Ergebnis eingangErgebnis;
  std::string pfad;
  bool dateiDa = false;  // when writing begins
  Ergebnis beginnErgebnis;
  Ergebnis zeitErgebnis;
  bool bereit = true;
  Ergebnis bildErgebnis;
  Ergebnis endeErgebnis;
  Ergebnis abschlussErgebnis;
  bool abschlussStumm = false;
  bool ohneSpeicher = false;  // for the calls that do the work
  SchreiberStatus status = SchreiberStatus::unbekannt;
  SchreiberStatus endstand = SchreiberStatus::fertig;
  std::optional<Fehler> fehler;
  VideoEinstellungen einstellungen;
};

std::string lesbar(const Medienzeit& zeit) {
  return std::to_string(zeit.value) + "/" + std::to_string(zeit.timescale);
}

class Attrappe final : public SchreiberAufrufe {
 public:
  explicit Attrappe(Writer& w) : w_(w) {}
  Ergebnis baue(const std::string& pfad, const VideoEinstellungen& einstellungen) override {
    w_.buch.schreibe("baue " + pfad);
    w_.pfad = pfad;
    w_.einstellungen = einstellungen;
    return w_.bauErgebnis;
  }
  Ergebnis setzeFragmente(const Medienzeit& abstand) override {
    w_.buch.schreibe("fragmente " + lesbar(abstand));
    return w_.fragmentErgebnis;
  }
  bool nimmtEingang() override { return w_.nimmtEingang; }
  Ergebnis fuegeEingangHinzu() override {
    w_.buch.schreibe("eingang");
    return w_.eingangErgebnis;
  }
  Ergebnis beginneSchreiben() override {
    w_.buch.schreibe("beginne");
    belege();
    w_.dateiDa = std::filesystem::exists(w_.pfad);
    w_.status =
        w_.beginnErgebnis.gescheitert() ? SchreiberStatus::gescheitert : SchreiberStatus::schreibt;
    return w_.beginnErgebnis;
  }
  Ergebnis setzeBeginn(const Medienzeit& beginn) override {
    w_.buch.schreibe("von " + lesbar(beginn));
    return w_.zeitErgebnis;
  }
  SchreiberStatus status() override { return w_.status; }
  std::optional<Fehler> fehler() override { return w_.fehler; }
  bool bereit() override { return w_.bereit; }
  Ergebnis haengeAn(const void* probe) override {
    w_.buch.schreibe("bild " + std::to_string(*static_cast<const int*>(probe)));
    belege();
    return w_.bildErgebnis;
  }
  Ergebnis markiereFertig() override {
    w_.buch.schreibe("fertig");
    return w_.endeErgebnis;
  }
  Ergebnis setzeEnde(const Medienzeit& ende) override {
    w_.buch.schreibe("bis " + lesbar(ende));
    return w_.endeErgebnis;
  }
  Ergebnis schliesseAb(std::function<void()> fertig) override {
    w_.buch.schreibe("schliesse ab");
    belege();
    if (w_.abschlussErgebnis.gescheitert()) return w_.abschlussErgebnis;
    w_.status = w_.endstand;
    if (!w_.abschlussStumm) fertig();
    return {};
  }

 private:
  void belege() const {
    if (w_.ohneSpeicher) throw std::bad_alloc();
  }

  Writer& w_;
};

class AssetSchreiberTest : public testing::Test {
 protected:
  std::unique_ptr<AssetSchreiber> neu() {
    return AssetSchreiber::neu(std::make_unique<Attrappe>(w), pfad, {1280, 800, 1'400'000, 30, 15},
                               fehler, abschluss);
  }
  static bool haengeAn(AssetSchreiber& schreiber, int nummer) {
    return schreiber.haengeAn(MacBild(0, BildStatus::vollstaendig, &nummer));
  }

  const Fehler kaputt{"AVFoundationErrorDomain", -11800, "geht nicht"};
  const TempOrdner ordner;
  const std::string pfad = ordner / "video.mp4";
  Writer w;
  Fehler fehler;
  std::chrono::milliseconds abschluss = AssetSchreiber::ABSCHLUSS;
};

TEST_F(AssetSchreiberTest, WantOfMemoryIsAnErrorOfTheVideo) {
  w.ohneSpeicher = true;
  EXPECT_FALSE(neu()->starte(12.5));
  const auto schreiber = neu();
  w.ohneSpeicher = false;
  ASSERT_TRUE(schreiber->starte(12.5));
  w.ohneSpeicher = true;
  EXPECT_FALSE(haengeAn(*schreiber, 1));
  EXPECT_TRUE(schreiber->schreibt());
  EXPECT_FALSE(schreiber->schliesseAb(20.0));
  EXPECT_EQ(schreiber->fehler(), keinSpeicher());
}

TEST_F(AssetSchreiberTest, AVideoIsSetUpFedAndFinishedInOrder) {
  const auto schreiber = neu();
  ASSERT_NE(schreiber, nullptr);
  EXPECT_EQ(w.buch.nimm(), (Eintraege{"baue " + pfad, "fragmente 2/1", "eingang"}));
  EXPECT_FALSE(schreiber->schreibt());

  EXPECT_TRUE(schreiber->starte(12.5));
  w.status = SchreiberStatus::gescheitert;
  EXPECT_FALSE(schreiber->schreibt());
  w.status = SchreiberStatus::schreibt;
  EXPECT_TRUE(schreiber->schreibt());
  EXPECT_TRUE(schreiber->bereit());
  EXPECT_TRUE(haengeAn(*schreiber, 1));
  EXPECT_TRUE(haengeAn(*schreiber, 2));
  EXPECT_TRUE(schreiber->schliesseAb(14.25));
  EXPECT_EQ(w.buch.nimm(), (Eintraege{"beginne", "von 12500000000/1000000000", "bild 1", "bild 2",
                                      "fertig", "bis 14250000000/1000000000", "schliesse ab"}));
  EXPECT_EQ(schreiber->fehler(), std::nullopt);
}

TEST_F(AssetSchreiberTest, AnEarlierFileIsRemovedBeforeWritingBegins) {
  std::ofstream(pfad) << "alt";
  const auto schreiber = neu();
  EXPECT_TRUE(std::filesystem::exists(pfad));
  EXPECT_TRUE(schreiber->starte(1));
  EXPECT_FALSE(w.dateiDa);
}

TEST_F(AssetSchreiberTest, AFolderInTheFilesPlaceKeepsAllThatItHolds) {
  const std::string inhalt = pfad + "/wichtig";
  std::filesystem::create_directory(pfad);
  std::ofstream(inhalt) << "bleibt";
  w.beginnErgebnis = kaputt;  // the system's reason counts
  const auto schreiber = neu();
  EXPECT_FALSE(schreiber->starte(1));
  EXPECT_TRUE(w.dateiDa);
  EXPECT_EQ(schreiber->fehler(), kaputt);
  EXPECT_TRUE(std::filesystem::exists(inhalt));
}

TEST_F(AssetSchreiberTest, TheSettingsReachTheEncoder) {
  static_cast<void>(neu());
  EXPECT_EQ(w.einstellungen.breite, 1280);
  EXPECT_EQ(w.einstellungen.hoehe, 800);
  EXPECT_EQ(w.einstellungen.bitrate, 1'400'000);
  EXPECT_EQ(w.einstellungen.schluesselbildAbstand, 30);
}

TEST_F(AssetSchreiberTest, AWriterThatCannotBeMadeSaysWhy) {
  w.bauErgebnis = kaputt;
  EXPECT_EQ(neu(), nullptr);
  EXPECT_EQ(fehler, kaputt);
  EXPECT_EQ(w.buch.nimm(), (Eintraege{"baue " + pfad}));
}

TEST_F(AssetSchreiberTest, AWriterThatRefusesTheInputSaysSo) {
  w.nimmtEingang = false;
  EXPECT_EQ(neu(), nullptr);
  EXPECT_EQ(fehler, (Fehler{"hallkorb", 3, "AVAssetWriter nimmt den Video-Eingang nicht an"}));
  EXPECT_EQ(w.buch.nimm(), (Eintraege{"baue " + pfad, "fragmente 2/1"}));
}

TEST_F(AssetSchreiberTest, AnExceptionWhileAddingTheInputIsTheReason) {
  w.eingangErgebnis = kaputt;
  EXPECT_EQ(neu(), nullptr);
  EXPECT_EQ(fehler, kaputt);
}

TEST_F(AssetSchreiberTest, WritingThatDoesNotStartOpensNoSession) {
  w.beginnErgebnis = kaputt;
  const auto schreiber = neu();
  EXPECT_FALSE(schreiber->starte(1));
  EXPECT_EQ(w.buch.nimm(), (Eintraege{"baue " + pfad, "fragmente 2/1", "eingang", "beginne"}));
  EXPECT_EQ(schreiber->fehler(), kaputt);
  EXPECT_FALSE(schreiber->bereit());
  EXPECT_FALSE(haengeAn(*schreiber, 1));
  EXPECT_FALSE(schreiber->schliesseAb(2));
  EXPECT_EQ(w.buch.nimm(), Eintraege{});
}

TEST_F(AssetSchreiberTest, AnInputThatIsNotReadyAndAPictureThatIsNotTakenShow) {
  const auto schreiber = neu();
  EXPECT_TRUE(schreiber->starte(1));
  w.bereit = false;
  EXPECT_FALSE(schreiber->bereit());
  w.bildErgebnis = kaputt;
  EXPECT_FALSE(haengeAn(*schreiber, 1));
  EXPECT_EQ(schreiber->fehler(), kaputt);
}

TEST_F(AssetSchreiberTest, ASystemWithoutFragmentsWritesTheVideoAllTheSame) {
  AusgabeFaenger faenger;
  w.fragmentErgebnis = kaputt;
  const auto schreiber = neu();
  ASSERT_NE(schreiber, nullptr);
  EXPECT_TRUE(schreiber->starte(1));
  EXPECT_TRUE(haengeAn(*schreiber, 1));
  EXPECT_TRUE(schreiber->schliesseAb(2));
  EXPECT_EQ(schreiber->fehler(), std::nullopt);
  EXPECT_EQ(faenger.fehlerZeilen(),
            (std::vector<std::string>{"[hallkorb] Video ohne Fragmente, nach einem Absturz nicht "
                                      "abspielbar: geht nicht"}));
}

TEST_F(AssetSchreiberTest, ASessionThatDoesNotBeginTakesNoPictures) {
  w.zeitErgebnis = kaputt;
  const auto schreiber = neu();
  EXPECT_FALSE(schreiber->starte(1));
  static_cast<void>(w.buch.nimm());
  EXPECT_EQ(w.status, SchreiberStatus::schreibt);
  EXPECT_FALSE(schreiber->schreibt());
  EXPECT_FALSE(schreiber->bereit());
  EXPECT_FALSE(haengeAn(*schreiber, 1));
  EXPECT_FALSE(schreiber->schliesseAb(2));
  EXPECT_EQ(schreiber->fehler(), kaputt);
  EXPECT_EQ(w.buch.nimm(), Eintraege{});
}

TEST_F(AssetSchreiberTest, AFileWhoseEndCannotBeSetIsCompletedWithoutIt) {
  const auto schreiber = neu();
  EXPECT_TRUE(schreiber->starte(1));
  w.endeErgebnis = kaputt;
  EXPECT_TRUE(schreiber->schliesseAb(2));
}

TEST_F(AssetSchreiberTest, AFileThatIsNotReadyInTimeIsLostAndSaysSo) {
  abschluss = std::chrono::milliseconds(0);
  const auto schreiber = neu();
  EXPECT_TRUE(schreiber->starte(1));
  w.abschlussStumm = true;
  w.endstand = SchreiberStatus::schreibt;
  EXPECT_FALSE(schreiber->schliesseAb(2));
  EXPECT_EQ(schreiber->fehler(),
            (Fehler{"posix", ETIMEDOUT,
                    "die Datei ist nach der Wartezeit nicht fertig; sie kann noch vollstaendig "
                    "werden"}));
}

TEST_F(AssetSchreiberTest, AFileThatIsReadyWithoutAnAnswerIsComplete) {
  abschluss = std::chrono::milliseconds(0);
  const auto schreiber = neu();
  EXPECT_TRUE(schreiber->starte(1));
  w.abschlussStumm = true;
  EXPECT_TRUE(schreiber->schliesseAb(2));
  EXPECT_EQ(schreiber->fehler(), std::nullopt);
}

// Nobody would answer: a wait would take minutes.
TEST_F(AssetSchreiberTest, ACompletionThatCannotBeginIsNotWaitedFor) {
  const auto schreiber = neu();
  EXPECT_TRUE(schreiber->starte(1));
  w.abschlussErgebnis = kaputt;
  w.endstand = SchreiberStatus::fertig;
  EXPECT_FALSE(schreiber->schliesseAb(2));
  EXPECT_EQ(schreiber->fehler(), kaputt);
}

TEST_F(AssetSchreiberTest, TheWritersOwnErrorCountsBeforeThoseOfTheCalls) {
  const Fehler voll{"AVFoundationErrorDomain", -11807, "kein Platz"};
  const Fehler zweiter{"NSException", 0, "zu spaet"};
  const auto schreiber = neu();
  EXPECT_TRUE(schreiber->starte(1));
  w.bildErgebnis = kaputt;
  EXPECT_FALSE(haengeAn(*schreiber, 1));
  w.bildErgebnis = zweiter;
  EXPECT_FALSE(haengeAn(*schreiber, 2));
  EXPECT_EQ(schreiber->fehler(), kaputt);
  w.fehler = voll;
  EXPECT_EQ(schreiber->fehler(), voll);
}

TEST_F(AssetSchreiberTest, AFileThatCannotBeCompletedIsNotComplete) {
  const auto schreiber = neu();
  EXPECT_TRUE(schreiber->starte(1));
  w.endstand = SchreiberStatus::gescheitert;
  EXPECT_FALSE(schreiber->schliesseAb(2));
}

TEST(MedienzeitTest, SecondsAreCountedInNanoseconds) {
  EXPECT_EQ(medienzeit(0), (Medienzeit{0, 1'000'000'000}));
  EXPECT_EQ(medienzeit(1234567.000000001), (Medienzeit{1'234'567'000'000'001, 1'000'000'000}));
}

TEST(MedienzeitTest, ATimeOfTheHostClockComesBackExactly) {
  for (const std::int64_t ns : {1LL, 86'400'123'456'789LL, 4'147'200'999'999'999LL}) {
    EXPECT_EQ(medienzeit(static_cast<double>(ns) / 1e9).value, ns);
  }
}

}  // namespace
}  // namespace hallkorb
