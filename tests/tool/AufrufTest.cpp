// What a person types, and what comes back.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <variant>
#include <vector>

#include "tests/session/Ordnerbau.h"
#include "tool/Aufruf.h"
#include "tool/Befehle.h"
#include "tool/Terminal.h"

namespace hallkorb {
namespace {

struct Antwort {
  int status = -1;
  std::string aus;
  std::string fehler;
};

Antwort rufe(std::initializer_list<std::string> worte) {
  std::vector<const char*> zeiger{"hallkorb-sitzung"};
  for (const std::string& wort : worte)
    zeiger.push_back(wort.c_str());
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const auto aufruf = liesAufruf(static_cast<int>(zeiger.size()), zeiger.data());
  Antwort antwort;
  antwort.status = std::holds_alternative<int>(aufruf)
                       ? std::get<int>(aufruf)
                       : fuehreAus(std::get<Aufruf>(aufruf), nullptr);
  antwort.aus = testing::internal::GetCapturedStdout();
  antwort.fehler = testing::internal::GetCapturedStderr();
  return antwort;
}

TEST(SitzungAufruf, HelpAndVersion) {
  const Antwort hilfe = rufe({"--help"});
  EXPECT_EQ(hilfe.status, ALLES_GUT);
  EXPECT_NE(hilfe.aus.find("pruefen"), std::string::npos);
  EXPECT_EQ(hilfe.aus.find("Usage"), std::string::npos);
  EXPECT_EQ(rufe({"pruefen", "--help"}).status, ALLES_GUT);
  const Antwort version = rufe({"--version"});
  EXPECT_EQ(version.status, ALLES_GUT);
  EXPECT_EQ(version.aus.substr(0, 17), "hallkorb-sitzung ");
}

TEST(SitzungAufruf, AMistakeIsNamedAndNothingHappens) {
  EXPECT_EQ(rufe({}).fehler.substr(0, 37), "hallkorb-sitzung: es fehlt ein Befehl");
  EXPECT_NE(rufe({"pruefen"}).fehler.find("es fehlt ein Ordner"), std::string::npos);
  EXPECT_NE(
      rufe({"pruefen", "/tmp", "--ja\x1b"}).fehler.find("unbekannte Angabe: --ja\xEF\xBF\xBD"),
      std::string::npos);
  EXPECT_NE(rufe({"pruefen", "/fehlt\n"}).fehler.find("nicht lesbar: /fehlt\xEF\xBF\xBD"),
            std::string::npos);
  EXPECT_NE(rufe({"abspielen", "/tmp"}).fehler.find("es fehlt --out ORDNER"), std::string::npos);
  EXPECT_EQ(rufe({"abspielen", "/tmp", "--out", "/tmp", "--tempo", "-1"}).status, UNMOEGLICH);
  for (const auto& worte :
       {std::initializer_list<std::string>{}, {"pruefen"}, {"tanzen", "/tmp"}}) {
    const Antwort antwort = rufe(worte);
    EXPECT_EQ(antwort.status, UNMOEGLICH);
    EXPECT_EQ(antwort.aus, "");
  }
}

TEST(SitzungAufruf, APlaybackTakesTheRecordersCall) {
  const std::vector<const char*> worte{"hallkorb-sitzung",
                                       "abspielen",
                                       "/r",
                                       "--out",
                                       "/alt",
                                       "--no-video",
                                       "--max",
                                       "5",
                                       "--chunk",
                                       "-0.8",
                                       "--tempo",
                                       "3",
                                       "--echo-datei",
                                       "m.wav",
                                       "arzt",
                                       "o.wav",
                                       "pruefen",
                                       "--rate=16000",
                                       "--kein-echo",
                                       "neu",
                                       "--out",
                                       "/o",
                                       "--fehlt"};
  const auto gelesen = liesAufruf(static_cast<int>(worte.size()), worte.data());
  ASSERT_TRUE(std::holds_alternative<Aufruf>(gelesen));
  const auto& aufruf = std::get<Aufruf>(gelesen);
  EXPECT_EQ(aufruf.befehl, Befehl::abspielen);
  EXPECT_EQ(aufruf.ordner, "/r");
  EXPECT_EQ(aufruf.ziel, "/o");
  EXPECT_EQ(aufruf.tempo, 3.0);
}

TEST(SitzungAufruf, TheStatusSaysWhatWasFound) {
  Ordnerbau bau;
  bau.start();
  bau.chunk("me", 0, 0.0, 1.0);
  EXPECT_EQ(rufe({"pruefen", bau.ordner().pfad()}).status, AUFFAELLIG);
  bau.ende();
  const Antwort antwort = rufe({"pruefen", bau.ordner().pfad()});
  EXPECT_EQ(antwort.status, ALLES_GUT);
  EXPECT_EQ(antwort.aus, "in Ordnung: 1 Chunks von me, 0 von them\n");
}

TEST(SitzungAufruf, ThePageIsMadeAlsoOfARecordingWithFindings) {
  Ordnerbau bau;
  bau.start();
  bau.chunk("me", 0, 0.0, 1.0);
  const Antwort antwort = rufe({"bericht", bau.ordner().pfad()});
  EXPECT_EQ(antwort.status, ALLES_GUT);
  EXPECT_EQ(antwort.aus, "geschrieben   sitzung.html: 1.00 s, 1 Auffaelligkeiten\n");
  const TempOrdner leer;
  EXPECT_EQ(rufe({"bericht", leer.pfad()}).status, UNMOEGLICH);
}

TEST(Terminal, ColoursOnlyWhereTheyAreWanted) {
  EXPECT_EQ(gefaerbt("rot", Farbe::rot, false), "rot");
  EXPECT_EQ(gefaerbt("rot", Farbe::rot, true), "\033[31mrot\033[0m");
  EXPECT_EQ(gefaerbt("rot", Farbe::ohne, true), "rot");
}

}  // namespace
}  // namespace hallkorb
