#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "audiofiles/Wav.h"
#include "driver/EchoDatei.h"
#include "echo/EchoStrecke.h"
#include "tests/echo/Lauf.h"
#include "tests/echo/szenen/Szene.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

namespace fs = std::filesystem;
using Samples = std::vector<float>;

// The C library's standard output, which carries the results, into a file of its own.
class Ergebnisfaenger {
 public:
  explicit Ergebnisfaenger(const char* ziel = nullptr)
      : datei_(ziel == nullptr ? std::tmpfile() : std::fopen(ziel, "w")) {
    std::fflush(stdout);
    vorher_ = ::dup(STDOUT_FILENO);
    ::dup2(::fileno(datei_), STDOUT_FILENO);
  }
  ~Ergebnisfaenger() {
    zurueck();
    std::fclose(datei_);
  }
  Ergebnisfaenger(const Ergebnisfaenger&) = delete;
  Ergebnisfaenger& operator=(const Ergebnisfaenger&) = delete;

  std::string text() {
    zurueck();
    std::string alles;
    char puffer[4096];
    for (ssize_t n = 0; (n = ::pread(::fileno(datei_), puffer, sizeof puffer,
                                     static_cast<off_t>(alles.size()))) > 0;) {
      alles.append(puffer, static_cast<std::size_t>(n));
    }
    return alles;
  }

 private:
  void zurueck() {
    if (vorher_ < 0) return;
    std::fflush(stdout);
    std::clearerr(stdout);
    ::dup2(vorher_, STDOUT_FILENO);
    ::close(vorher_);
    vorher_ = -1;
  }
  std::FILE* datei_;
  int vorher_ = -1;
};

class EchoDateiTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string pfad(const std::string& name) const {
    return ordner.pfad() + "/" + name;
  }
  void schreibe(const std::string& name, const Samples& samples) const {
    ASSERT_FALSE(writeWav(samples, 16000.0, pfad(name)));
  }
  [[nodiscard]] Config config(const std::string& mic = "mic.wav",
                              const std::string& ref = "ref.wav",
                              const std::string& out = "out.wav") const {
    Config c;
    c.echoDatei = {pfad(mic), pfad(ref), pfad(out)};
    return c;
  }
  [[nodiscard]] std::vector<std::string> inhalt() const {
    std::vector<std::string> namen;
    for (const auto& eintrag : fs::directory_iterator(ordner.pfad())) {
      namen.push_back(eintrag.path().filename().string());
    }
    std::sort(namen.begin(), namen.end());
    return namen;
  }

  TempOrdner ordner;
};

Samples rauschen(std::size_t n, std::uint64_t saat) {
  const szenen::Signal s = szenen::kunstsprache(static_cast<double>(n) / 16000.0 + 0.01, saat);
  return {s.begin(), s.begin() + static_cast<std::ptrdiff_t>(n)};
}

TEST_F(EchoDateiTest, WritesWhatTheEchoPathMakesOfTheFilesAndItsStatistics) {
  schreibe("mic.wav", rauschen(30001, 1));
  schreibe("ref.wav", rauschen(20000, 2));
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(config()), 0);
  const std::string zeile = faenger.text();

  EchoStrecke strecke(20);
  const Ergebnisse soll = lauf(strecke, *liesWav(pfad("mic.wav")), *liesWav(pfad("ref.wav")), 4800);
  std::smatch treffer;
  const std::string anfang = soll.statistik.substr(0, soll.statistik.size() - 1);
  ASSERT_EQ(zeile.substr(0, anfang.size()), anfang);
  const std::string rest = zeile.substr(anfang.size());
  EXPECT_TRUE(std::regex_match(rest, std::regex(",\"sekunden_audio\":1\\.9,\"rechenzeit_s\":"
                                                "[0-9]+\\.[0-9][0-9],\"samples\":30001,"
                                                "\"chunks_ohne_sprache\":0\\}\n")))
      << rest;
  ASSERT_FALSE(writeWav(soll.samples, 16000.0, pfad("soll.wav")));
  EXPECT_EQ(liesWav(pfad("out.wav")), liesWav(pfad("soll.wav")));
  EXPECT_GT(strecke.ohneReferenz(), 0);  // the reference ends early
  EXPECT_EQ(inhalt(), (std::vector<std::string>{"mic.wav", "out.wav", "ref.wav", "soll.wav"}));
}

TEST_F(EchoDateiTest, TakesAReferenceThatIsLongerThanTheMicrophone) {
  schreibe("mic.wav", rauschen(16000, 3));
  schreibe("ref.wav", rauschen(48000, 4));
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(config()), 0);
  const std::string zeile = faenger.text();
  EXPECT_NE(zeile.find("\"sekunden_audio\":1.0,"), std::string::npos);
  EXPECT_NE(zeile.find("\"samples\":16000,"), std::string::npos);
  EXPECT_NE(zeile.find("\"ohne_referenz\":0,"), std::string::npos);
}

TEST_F(EchoDateiTest, TakesEmptyRecordings) {
  // A data chunk of nothing, in a file that is long enough.
  std::ofstream(pfad("leer.wav"), std::ios::binary)
      << std::string("RIFF\x28\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x80\x3e\0\0\0\x7d\0\0\2\0\x10\0", 36)
      << std::string("data\0\0\0\0\0\0\0\0", 12);
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(config("leer.wav", "leer.wav")), 0);
  EXPECT_NE(faenger.text().find("\"samples\":0,"), std::string::npos);
  EXPECT_EQ(fs::file_size(pfad("out.wav")), 44U);
}

TEST_F(EchoDateiTest, LeavesThePostFilterOffWhenAsked) {
  schreibe("mic.wav", rauschen(16000, 5));
  schreibe("ref.wav", rauschen(16000, 6));
  Config c = config();
  c.ohneNachfilter = true;
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(c), 0);
  const std::string zeile = faenger.text();
  EXPECT_NE(zeile.find("\"tor_anteil\":0.000,\"nah_anteil\":0.000,"), std::string::npos);
  // 62 whole blocks, the half one, and one to empty the canceller.
  EXPECT_NE(zeile.find("\"bloecke\":64,"), std::string::npos);
}

TEST_F(EchoDateiTest, CutsChunksIntoAFolderThatItMakes) {
  const szenen::Szene szene = szenen::szene(
      {.name = "chunks", .sekunden = 10.0, .fern = {{0.0, 4.0}}, .nah = {{5.0, 8.0}}});
  schreibe("mic.wav", szene.mikro);
  schreibe("ref.wav", szene.referenz);
  Config c = config();
  c.chunkOrdner = pfad("tief/chunks");
  AusgabeFaenger ausgaben;
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(c), 0);
  const std::string zeile = faenger.text();
  const auto chunks = ausgaben.ausgabeZeilen();
  ASSERT_FALSE(chunks.empty());
  EXPECT_EQ(chunks[0].rfind("{\"chunk\":0,\"channel\":\"me\",\"path\":\"" + *c.chunkOrdner +
                                "/chunk_me_000.wav\",\"t0\":",
                            0),
            0U)
      << chunks[0];
  EXPECT_NE(chunks[0].find(",\"sprache_ms\":"), std::string::npos);
  EXPECT_TRUE(fs::exists(*c.chunkOrdner + "/chunk_me_000.wav"));
  EXPECT_NE(zeile.find("\"chunks_ohne_sprache\":"), std::string::npos);
}

TEST_F(EchoDateiTest, ReplacesAnInputWhereTheOutputIsToBeThere) {
  schreibe("mic.wav", rauschen(16000, 7));
  schreibe("ref.wav", rauschen(16000, 8));
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(config("mic.wav", "ref.wav", "getrennt.wav")), 0);
  const auto soll = liesWav(pfad("getrennt.wav"));
  EXPECT_EQ(echoDatei(config("mic.wav", "ref.wav", "ref.wav")), 0);
  EXPECT_EQ(liesWav(pfad("ref.wav")), soll);
}

TEST_F(EchoDateiTest, RefusesWhatItCannotRead) {
  schreibe("gut.wav", rauschen(1000, 9));
  std::ofstream(pfad("kurz.wav"), std::ios::binary) << std::string(44, 'x');
  std::ofstream(pfad("kaputt.wav"), std::ios::binary) << std::string(400, 'x');
  fs::create_directory(pfad("ordner.wav"));
  const auto vorher = inhalt();
  for (const std::string schlecht : {"fehlt.wav", "kurz.wav", "kaputt.wav", "ordner.wav"}) {
    for (const bool alsMikro : {true, false}) {
      SCOPED_TRACE(schlecht);
      AusgabeFaenger ausgaben;
      Ergebnisfaenger faenger;
      Config c = alsMikro ? config(schlecht, "gut.wav") : config("gut.wav", schlecht);
      c.chunkOrdner = pfad("chunks");
      EXPECT_EQ(echoDatei(c), 2);
      EXPECT_EQ(ausgaben.fehler(), "[hallkorb] --echo-datei: WAV nicht lesbar\n");
      EXPECT_EQ(ausgaben.ausgabe(), "");
      EXPECT_EQ(faenger.text(), "");
      EXPECT_EQ(inhalt(), vorher);
    }
  }
}

TEST_F(EchoDateiTest, LeavesNothingHalfWrittenWhereTheOutputCannotBeWritten) {
  schreibe("mic.wav", rauschen(5000, 10));
  schreibe("ref.wav", rauschen(5000, 11));
  {
    AusgabeFaenger ausgaben;
    Ergebnisfaenger faenger;
    EXPECT_EQ(echoDatei(config("mic.wav", "ref.wav", "fehlt/out.wav")), 2);
    EXPECT_EQ(ausgaben.fehler().rfind("[hallkorb] --echo-datei: Schreiben fehlgeschlagen: ", 0),
              0U);
    EXPECT_EQ(faenger.text(), "");
  }
  // A full disk, at any write, with an earlier output in place.
  schreibe("out.wav", rauschen(10, 12));
  const auto vorher = inhalt();
  const auto alt = liesWav(pfad("out.wav"));
  FehlerDateien dateien;
  dateien.scheitere(FehlerDateien::Ruf::schreiben, 0, ENOSPC, FehlerDateien::IMMER);
  AusgabeFaenger ausgaben;
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(config(), dateien), 2);
  EXPECT_EQ(ausgaben.fehler().rfind("[hallkorb] --echo-datei: Schreiben fehlgeschlagen: ", 0), 0U);
  EXPECT_EQ(faenger.text(), "");
  EXPECT_EQ(inhalt(), vorher);
  EXPECT_EQ(liesWav(pfad("out.wav")), alt);
}

TEST_F(EchoDateiTest, FailsWhereItsResultCannotBePrinted) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  schreibe("mic.wav", rauschen(3000, 13));
  schreibe("ref.wav", rauschen(3000, 14));
  const Ergebnisfaenger voll("/dev/full");
  EXPECT_EQ(echoDatei(config()), 2);
}

}  // namespace
}  // namespace hallkorb
