// The examination of a simulated computer: every finding, and what is to be done about it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/Gespraech.h"
#include "tests/support/SimBildschirm.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"
#include "tool/Arzt.h"
#include "tool/Echomessung.h"
#include "tool/Terminal.h"

namespace hallkorb {
namespace {

using sim::MONO16;
using sim::SimPlattform;
using sim::stetig;

// The device captures these samples from `von` on, in blocks of 20 ms.
void strom(sim::Geraet& geraet, double von, const std::vector<float>& samples) {
  constexpr std::size_t BLOCK = 320;
  for (std::size_t i = 0; i + BLOCK <= samples.size(); i += BLOCK) {
    const auto ab = samples.begin() + static_cast<std::ptrdiff_t>(i);
    geraet.block(von + static_cast<double>(i) / 16000.0, MONO16,
                 std::vector<float>(ab, ab + BLOCK));
  }
}

class ArztTest : public testing::Test {
 protected:
  bool untersuche(SimPlattform& welt, bool echo = false) {
    return untersuche(welt, ordner.pfad(), echo);
  }
  bool untersuche(SimPlattform& welt, const std::string& ziel, bool echo = false) {
    Arzt arzt(welt, {[this](const Diagnose& eine) { diagnosen.push_back(eine); },
                     [this](std::optional<double> mikrofon, std::optional<double> system) {
                       pegel.emplace_back(mikrofon, system);
                     }});
    return arzt.untersuche(ziel, echo);
  }

  // A computer on which everything works.
  static void heil(SimPlattform& welt) {
    stetig(welt.mikrofonGeraet, 0.1, 10.0);
    stetig(welt.systemGeraet, 0.1, 10.0);
    welt.bildschirm.windows = {sim::fenster(7, "us.zoom.xos", "Zoom Meeting")};
  }

  const Diagnose& zu(const std::string& was) const {
    static const Diagnose keine{Lage::gut, "keine", "keine Diagnose", {}};
    const auto eine = std::find_if(diagnosen.begin(), diagnosen.end(),
                                   [&](const Diagnose& d) { return d.was == was; });
    return eine == diagnosen.end() ? keine : *eine;
  }
  void erwarte(const std::string& was, Lage lage, const std::string& text,
               const std::string& abhilfe) const {
    EXPECT_EQ(zu(was).lage, lage) << was;
    EXPECT_NE(zu(was).text.find(text), std::string::npos) << was << ": " << zu(was).text;
    EXPECT_EQ(zu(was).abhilfe, abhilfe) << was;
  }
  static std::string rat(Mangel mangel) { return SimPlattform().abhilfe(mangel); }

  TempOrdner ordner;
  std::vector<Diagnose> diagnosen;
  std::vector<std::pair<std::optional<double>, std::optional<double>>> pegel;
};

TEST_F(ArztTest, AHealthyComputer) {
  SimPlattform welt;
  heil(welt);
  EXPECT_TRUE(untersuche(welt));
  erwarte("Audiodienst", Lage::gut, "ist da", "");
  erwarte("Mikrofon", Lage::gut, "Simmikrofon", "");
  erwarte("Systemton", Lage::gut, "Simlautsprecher", "");
  erwarte("Pegel Mikrofon", Lage::gut, "dBFS, Spitze", "");
  erwarte("Pegel Systemton", Lage::gut, "dBFS, Spitze", "");
  erwarte("Vorrang", Lage::gut, "hat Vorrang", "");
  erwarte("Bildschirm", Lage::gut, "1 Fenster", "");
  erwarte("Fenster", Lage::hinweis, "Zoom Meeting", "");
  erwarte("Besprechung", Lage::gut, "Zoom · Zoom Meeting wuerde aufgenommen", "");
  erwarte("Encoder", Lage::gut, "H.264", "");
  erwarte("Ordner", Lage::gut, "beschreibbar", "");
  erwarte("Echo", Lage::hinweis, "nicht gemessen; mit --echo", "");
  EXPECT_TRUE(welt.vorgespielt.empty());
  EXPECT_TRUE(std::filesystem::is_empty(ordner.pfad()));
}

TEST_F(ArztTest, LevelsAreShownForThreeSecondsAsTheyAre) {
  SimPlattform welt;
  heil(welt);
  EXPECT_TRUE(untersuche(welt));
  EXPECT_GE(pegel.size(), 29U);
  EXPECT_LE(pegel.size(), 31U);
  for (std::size_t i = 2; i < pegel.size(); ++i) {
    ASSERT_TRUE(pegel[i].first && pegel[i].second);
    EXPECT_GT(*pegel[i].first, -30.0);
    EXPECT_LE(*pegel[i].first, 0.0);
  }
}

TEST_F(ArztTest, NoAudioService) {
  SimPlattform welt;
  welt.namen = Fehler{"sim", 1, "niemand antwortet"};
  welt.mikrofonGeraet.startFehler = Fehler{"sim", 1, "kein Dienst"};
  welt.systemGeraet.startFehler = Fehler{"sim", 1, "kein Dienst"};
  EXPECT_FALSE(untersuche(welt));
  erwarte("Audiodienst", Lage::fehlt, "niemand antwortet", rat(Mangel::tondienst));
  erwarte("Mikrofon", Lage::fehlt, "kein Dienst", rat(Mangel::mikrofon));
  erwarte("Systemton", Lage::fehlt, "kein Dienst", rat(Mangel::systemAudio));
  EXPECT_EQ(zu("Vorrang").was, "keine");
  erwarte("Ordner", Lage::gut, "beschreibbar", "");
}

TEST_F(ArztTest, PermissionsAreNamedWithTheirState) {
  using Stand = Genehmigung::Stand;
  const auto einmal = [&](Stand stand, Lage lage, const std::string& text,
                          const std::string& abhilfe) {
    SimPlattform welt;
    heil(welt);
    welt.erlaubt = {{"Mikrofon", Stand::erteilt, Mangel::mikrofon},
                    {"Bildschirm", stand, Mangel::bildschirm}};
    diagnosen.clear();
    EXPECT_TRUE(untersuche(welt));
    erwarte("Erlaubnis Mikrofon", Lage::gut, "erteilt", "");
    erwarte("Erlaubnis Bildschirm", lage, text, abhilfe);
  };
  einmal(Stand::ungefragt, Lage::hinweis, "noch nicht gefragt",
         "die Frage des Systems beantworten und noch einmal untersuchen");
  einmal(Stand::fehlt, Lage::mangel, "nicht erteilt", rat(Mangel::bildschirm));
  einmal(Stand::gesperrt, Lage::mangel, "gesperrt", "die Sperre aufheben lassen");
}

TEST_F(ArztTest, AMissingMicrophoneIsNamedAndTheRestIsExamined) {
  SimPlattform welt;
  heil(welt);
  welt.mikrofonGeraet = {};
  welt.mikrofonGeraet.startFehler = Fehler{"sim", 5, "kein Mikrofon"};
  EXPECT_FALSE(untersuche(welt, true));
  erwarte("Mikrofon", Lage::fehlt, "kein Mikrofon", rat(Mangel::mikrofon));
  erwarte("Pegel Systemton", Lage::gut, "dBFS", "");
  erwarte("Echo", Lage::hinweis, "nicht messbar", "");
  EXPECT_EQ(zu("Pegel Mikrofon").was, "keine");
  EXPECT_FALSE(pegel.front().first);
  // What cannot be measured is not offered.
  SimPlattform ohne;
  heil(ohne);
  ohne.mikrofonGeraet = {};
  ohne.mikrofonGeraet.startFehler = Fehler{"sim", 5, "kein Mikrofon"};
  diagnosen.clear();
  EXPECT_FALSE(untersuche(ohne));
  EXPECT_EQ(zu("Echo").was, "keine");
}

TEST_F(ArztTest, AMicrophoneOfNothingButZerosIsMuted) {
  SimPlattform welt;
  heil(welt);
  welt.mikrofonGeraet = {};
  strom(welt.mikrofonGeraet, 0.1, std::vector<float>(160000));
  EXPECT_FALSE(untersuche(welt));
  erwarte("Pegel Mikrofon", Lage::fehlt, "nur Nullen", rat(Mangel::stummesMikrofon));
}

TEST_F(ArztTest, AMicrophoneTooLoudTooQuietAndLost) {
  for (const auto& [wert, lage, text] :
       {std::tuple{1.0F, Lage::mangel, "uebersteuert"}, {1e-4F, Lage::hinweis, "sehr leise"}}) {
    SimPlattform welt;
    heil(welt);
    welt.mikrofonGeraet = {};
    strom(welt.mikrofonGeraet, 0.1, std::vector<float>(160000, wert));
    diagnosen.clear();
    EXPECT_TRUE(untersuche(welt));
    EXPECT_EQ(zu("Pegel Mikrofon").lage, lage);
    EXPECT_NE(zu("Pegel Mikrofon").text.find(text), std::string::npos);
    EXPECT_NE(zu("Pegel Mikrofon").abhilfe, "");
  }
  SimPlattform welt;
  stetig(welt.mikrofonGeraet, 0.1, 1.0);
  welt.mikrofonGeraet.unterbrochen(1.0, Fehler{"sim", 6, "abgezogen"});
  diagnosen.clear();
  EXPECT_FALSE(untersuche(welt));
  erwarte("Pegel Mikrofon", Lage::fehlt, "abgezogen", rat(Mangel::mikrofon));
}

TEST_F(ArztTest, AMicrophoneThatDeliversNothingAtAll) {
  SimPlattform welt;
  heil(welt);
  welt.mikrofonGeraet = {};
  EXPECT_FALSE(untersuche(welt));
  erwarte("Pegel Mikrofon", Lage::fehlt, "kam nichts", rat(Mangel::mikrofon));
}

TEST_F(ArztTest, SystemSoundThatBreaksOff) {
  SimPlattform welt;
  heil(welt);
  welt.systemGeraet = {};
  stetig(welt.systemGeraet, 0.1, 1.0);
  welt.systemGeraet.unterbrochen(1.0, Fehler{"sim", 6, "Ausgang weg"});
  EXPECT_FALSE(untersuche(welt));
  erwarte("Pegel Systemton", Lage::fehlt, "Ausgang weg", rat(Mangel::systemAudio));
  // A recording would go on with what has come back.
  SimPlattform wieder;
  heil(wieder);
  wieder.systemGeraet = {};
  stetig(wieder.systemGeraet, 0.1, 1.0);
  wieder.systemGeraet.unterbrochen(1.0, Fehler{"sim", 6, "Ausgang weg"});
  wieder.systemGeraet.fortgesetzt(1.2);
  stetig(wieder.systemGeraet, 1.2, 10.0);
  diagnosen.clear();
  EXPECT_TRUE(untersuche(wieder));
  erwarte("Pegel Systemton", Lage::gut, "dBFS", "");
}

TEST_F(ArztTest, ASilentComputerIsNoFault) {
  SimPlattform welt;
  heil(welt);
  welt.systemGeraet = {};
  strom(welt.systemGeraet, 0.1, std::vector<float>(160000));
  EXPECT_TRUE(untersuche(welt));
  erwarte("Pegel Systemton", Lage::hinweis, "spielt gerade nichts", "");
}

TEST_F(ArztTest, RefusedPriority) {
  SimPlattform welt;
  heil(welt);
  welt.systemGeraet = {};
  stetig(welt.systemGeraet, 0.1, 1.5);
  welt.systemGeraet.schritte.push_back(
      {1.5, [](AudioInputListener& hoerer) { hoerer.hinweis(Fehler{"sim", 9, "kein Vorrang"}); }});
  EXPECT_TRUE(untersuche(welt));
  erwarte("Vorrang", Lage::mangel, "kein Vorrang", rat(Mangel::vorrang));
}

TEST_F(ArztTest, WithoutAScreenThereIsNoVideo) {
  SimPlattform welt;
  heil(welt);
  welt.bildschirm.inventarFehler = Fehler{"sim", 2, "kein Bildschirm"};
  EXPECT_TRUE(untersuche(welt));
  erwarte("Bildschirm", Lage::mangel, "kein Bildschirm; es gibt kein Video",
          rat(Mangel::bildschirm));
  EXPECT_EQ(zu("Besprechung").was, "keine");
}

TEST_F(ArztTest, AScreenThatDoesNotAnswerIsGivenUp) {
  SimPlattform welt;
  heil(welt);
  welt.bildschirm.inventarDauer = 30.0;
  EXPECT_TRUE(untersuche(welt));
  erwarte("Bildschirm", Lage::mangel, "antwortet nicht", rat(Mangel::bildschirm));
  EXPECT_LT(welt.jetzt(), 10.0);
}

TEST_F(ArztTest, NoMeetingOnTheScreen) {
  SimPlattform welt;
  heil(welt);
  welt.bildschirm.windows = {sim::fenster(3, "com.example.editor", "Brief\x1b")};
  EXPECT_TRUE(untersuche(welt));
  erwarte("Bildschirm", Lage::gut, "1 Fenster", "");
  EXPECT_EQ(zu("Fenster").was, "keine");
  erwarte("Besprechung", Lage::hinweis, "kein Meetingfenster",
          "die Besprechung oeffnen und ihr Fenster sichtbar lassen");
}

TEST_F(ArztTest, NoEncoder) {
  SimPlattform welt;
  heil(welt);
  welt.bildschirm.schreiberFehlt = Fehler{"sim", 3, "kein H.264"};
  EXPECT_TRUE(untersuche(welt));
  erwarte("Encoder", Lage::mangel, "kein H.264; es gibt kein Video", rat(Mangel::encoder));
}

TEST_F(ArztTest, TheFolderMayBeMissingButNotUnwritable) {
  SimPlattform welt;
  heil(welt);
  EXPECT_TRUE(untersuche(welt, ordner / "noch/nicht/da"));
  EXPECT_TRUE(std::filesystem::is_empty(ordner.pfad()));
  diagnosen.clear();
  SimPlattform andere;
  heil(andere);
  EXPECT_FALSE(untersuche(andere, std::string("/proc/hallkorb")));
  EXPECT_EQ(zu("Ordner").lage, Lage::fehlt);
  EXPECT_NE(zu("Ordner").abhilfe, "");
}

TEST_F(ArztTest, TheEchoOfTheTestSound) {
  SimPlattform welt;
  // 0.5 s of the stream before it, then the sound and what the room makes of it.
  const auto ton = pruefton(16000.0);
  std::vector<float> gespielt(static_cast<std::size_t>(3.6 * 16000.0));
  gespielt.insert(gespielt.end(), ton.begin(), ton.end());
  gespielt.resize(gespielt.size() + 40000);
  std::vector<float> gehoert(gespielt.size());
  constexpr std::size_t VERSATZ = 37 * 16;
  for (std::size_t i = VERSATZ; i < gehoert.size(); ++i)
    gehoert[i] = 0.1F * gespielt[i - VERSATZ];
  gehoert[100] = 0.1F;
  strom(welt.systemGeraet, 0.1, gespielt);
  strom(welt.mikrofonGeraet, 0.1, gehoert);
  welt.spielDauer = 2.0;
  EXPECT_TRUE(untersuche(welt, true));
  erwarte("Echo", Lage::gut, "37 ms nach dem Lautsprecher, -20 dB", "");
  ASSERT_EQ(welt.vorgespielt.size(), 1U);
  EXPECT_FALSE(std::filesystem::exists(welt.vorgespielt.front()));
}

TEST_F(ArztTest, NoEchoNoPlayerAndNoSound) {
  SimPlattform welt;
  heil(welt);
  welt.spielerFehlt = Fehler{"sim", 4, "kein Spieler"};
  EXPECT_TRUE(untersuche(welt, true));
  erwarte("Echo", Lage::hinweis, "kein Spieler", "");

  SimPlattform stumm;
  heil(stumm);
  stumm.systemGeraet = {};
  strom(stumm.systemGeraet, 0.1, std::vector<float>(160000));
  diagnosen.clear();
  EXPECT_TRUE(untersuche(stumm, true));
  erwarte("Echo", Lage::mangel, "kam im Systemton nicht an", rat(Mangel::systemAudio));
}

TEST(Terminal, ALevelAsABar) {
  EXPECT_EQ(pegelBalken(-99.0), "[................] -99 dBFS");
  EXPECT_EQ(pegelBalken(-30.0), "[########........] -30 dBFS");
  EXPECT_EQ(pegelBalken(0.0), "[################]   0 dBFS");
}

// A line that wraps would leave its first row on the terminal, ten times a second.
TEST(Terminal, BothLevelsFitIntoOneRow) {
  for (const double db : {-140.0, -60.0, 0.0})
    EXPECT_LT(pegelZeile(db, db).size(), 80U);
  EXPECT_EQ(pegelZeile(-60.0, -30.0),
            "Mikrofon [................] -60 dBFS  Systemton [########........] -30 dBFS");
  EXPECT_EQ(pegelZeile({}, -30.0), "Systemton [########........] -30 dBFS");
}

}  // namespace
}  // namespace hallkorb
