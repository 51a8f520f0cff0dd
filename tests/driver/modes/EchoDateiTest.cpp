#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "audiofiles/Wav.h"
#include "driver/Config.h"
#include "driver/modes/EchoDatei.h"
#include "echo/EchoStrecke.h"
#include "tests/echo/Lauf.h"
#include "tests/echo/scenes/Szene.h"
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
    ASSERT_TRUE(writeWav(samples, 16000.0, pfad(name)).gelungen());
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

// A near end that takes long and short turns: noise without a word to 3 s, words from 4 to 5.2,
// from 6.7 to 13.5 and from 15 s to the end at 17 s, silence in between. The far end speaks from 8
// to 12 s.
struct Gespraech {
  Samples mikro;
  Samples referenz;
};

Gespraech gespraech() {
  constexpr std::size_t LAENGE = 17 * 16000;
  Gespraech g{Samples(LAENGE, 0.0F), Samples(LAENGE, 0.0F)};
  const auto worte = [](Samples& ziel, double von, double bis, std::uint64_t saat) {
    const szenen::Signal s = szenen::kunstsprache(bis - von, saat);
    std::copy(s.begin(), s.end(), ziel.begin() + static_cast<std::ptrdiff_t>(von * 16000.0));
  };
  worte(g.mikro, 4.0, 5.2, 21);
  worte(g.mikro, 6.7, 13.5, 22);
  worte(g.mikro, 15.0, 17.0, 23);
  worte(g.referenz, 8.0, 12.0, 24);
  std::mt19937_64 zufall(25);
  for (std::size_t i = 0; i < LAENGE; ++i) {
    const float rauschen = static_cast<float>(zufall() >> 40) * 0x1p-23F - 1.0F;
    g.mikro[i] += rauschen * (i < 48000 ? 0.02F : 0.0003F);
    if (i >= 1000) g.mikro[i] += 0.2F * g.referenz[i - 1000];
  }
  return g;
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
  ASSERT_TRUE(writeWav(soll.samples, 16000.0, pfad("soll.wav")).gelungen());
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

TEST_F(EchoDateiTest, ALengthIsThatOfTheMicrophone) {
  // 0.05 s is what is rounded up.
  for (const auto& [samples, sekunden] : {std::pair{799U, "0.0"}, std::pair{801U, "0.1"}}) {
    schreibe("mic.wav", rauschen(samples, 3));
    schreibe("ref.wav", rauschen(16000, 4));
    Ergebnisfaenger faenger;
    EXPECT_EQ(echoDatei(config()), 0);
    const std::string zeile = faenger.text();
    EXPECT_NE(zeile.find("\"sekunden_audio\":" + std::string(sekunden) + ","), std::string::npos)
        << zeile;
    EXPECT_NE(zeile.find("\"samples\":" + std::to_string(samples) + ","), std::string::npos);
  }
}

TEST_F(EchoDateiTest, TakesEmptyRecordings) {
  // An empty data chunk in a file that is long enough.
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

// What a chunker with the mode's settings makes of the output: its lines, and the number of chunks
// without speech.
struct Chunks {
  std::vector<std::string> zeilen;
  std::int64_t ohneSprache = 0;
};

Chunks sollChunks(const Gespraech& g, const std::string& ordner) {
  const AusgabeFaenger ausgaben;
  EchoStrecke strecke(20);
  ChannelChunker chunker({.channel = "me",
                          .outDir = ordner,
                          .rate = 16000.0,
                          .chunkSeconds = 25.0,
                          .turnMode = true,
                          .minSeconds = 1.2,
                          .maxSeconds = 15.0,
                          .silenceSeconds = 0.6,
                          .silenceRms = 0.006F});
  strecke.ausgabe = [&](std::span<const float> samples, const std::vector<bool>& sprache) {
    chunker.append(samples, &sprache);
  };
  for (std::size_t ab = 0; ab < g.mikro.size(); ab += 4800) {
    const std::size_t anzahl = std::min<std::size_t>(4800, g.mikro.size() - ab);
    strecke.referenz({g.referenz.data() + ab, anzahl});
    strecke.mikro({g.mikro.data() + ab, anzahl});
  }
  strecke.abschliessen();
  chunker.finalizeRemainder();
  return {ausgaben.ausgabeZeilen(), chunker.ohneSprache()};
}

// Start and end of a chunk in seconds.
std::pair<double, double> zeiten(const std::string& zeile) {
  std::smatch treffer;
  const std::regex muster("\"t0\":([0-9.]+),\"t1\":([0-9.]+),\"sprache_ms\":[0-9]+\\}$");
  EXPECT_TRUE(std::regex_search(zeile, treffer, muster)) << zeile;
  return {std::stod(treffer[1]), std::stod(treffer[2])};
}

// The mode's own settings, whatever the options for live recordings say.
TEST_F(EchoDateiTest, CutsChunksByItsOwnRulesIntoAFolderThatItMakes) {
  const Gespraech vorher = gespraech();
  schreibe("mic.wav", vorher.mikro);
  schreibe("ref.wav", vorher.referenz);
  const Gespraech g{*liesWav(pfad("mic.wav")), *liesWav(pfad("ref.wav"))};
  fs::create_directory(pfad("soll"));
  const Chunks soll = sollChunks(g, pfad("soll"));
  // Longer than the live mode's 4 s, shorter than 3 s, and the rest up to the end.
  ASSERT_EQ(soll.zeilen.size(), 3U);
  EXPECT_LT(zeiten(soll.zeilen[0]).second - zeiten(soll.zeilen[0]).first, 2.9);
  EXPECT_GT(zeiten(soll.zeilen[1]).second - zeiten(soll.zeilen[1]).first, 5.0);
  EXPECT_EQ(zeiten(soll.zeilen[2]).second, 17.0);
  EXPECT_EQ(soll.ohneSprache, 1);

  std::vector<std::uint8_t> ausgabe;
  const std::vector<std::vector<const char*>> optionen{
      {},
      {"--rate", "48000"},
      {"--legacy-chunks"},
      {"--max", "4"},
      {"--rate", "8000", "--legacy-chunks", "--max", "1", "--chunk", "2", "--kein-echo"},
  };
  for (std::size_t i = 0; i < optionen.size(); ++i) {
    SCOPED_TRACE(i);
    const std::string ordnerName = "tief" + std::to_string(i) + "/chunks";
    const std::string mic = pfad("mic.wav");
    const std::string ref = pfad("ref.wav");
    const std::string out = pfad("out.wav");
    const std::string chunks = pfad(ordnerName);
    std::vector<const char*> argumente{"hallkorb",  "--echo-datei",   mic.c_str(),   ref.c_str(),
                                       out.c_str(), "--chunk-ordner", chunks.c_str()};
    argumente.insert(argumente.end(), optionen[i].begin(), optionen[i].end());
    const AusgabeFaenger ausgaben;
    Ergebnisfaenger faenger;
    EXPECT_EQ(echoDatei(parseArgs(static_cast<int>(argumente.size()), argumente.data())), 0);
    const std::string zeile = faenger.text();
    EXPECT_EQ(ausgaben.fehler(), "");

    auto erwartet = soll.zeilen;
    for (std::size_t nummer = 0; nummer < erwartet.size(); ++nummer) {
      std::string& text = erwartet[nummer];
      text.replace(text.find(pfad("soll")), pfad("soll").size(), chunks);
      const std::string name = "/chunk_me_00" + std::to_string(nummer) + ".wav";
      EXPECT_EQ(dateiBytes(chunks + name), dateiBytes(pfad("soll") + name));
    }
    EXPECT_EQ(ausgaben.ausgabeZeilen(), erwartet);
    EXPECT_NE(zeile.find(",\"samples\":272000,\"chunks_ohne_sprache\":1}\n"), std::string::npos)
        << zeile;
    EXPECT_NE(zeile.find(",\"sekunden_audio\":17.0,"), std::string::npos) << zeile;
    if (i == 0) ausgabe = dateiBytes(out);
    EXPECT_EQ(dateiBytes(out), ausgabe);
    ASSERT_GT(ausgabe.size(), 44U);
    // 16000 Hz, little-endian.
    EXPECT_EQ(ausgabe[24] + 256 * ausgabe[25], 16000);
  }
}

TEST_F(EchoDateiTest, ATurnWithoutAPauseIsCutBeforeFifteenSeconds) {
  const szenen::Signal s = szenen::kunstsprache(17.0, 31);
  schreibe("mic.wav", Samples(s.begin(), s.end()));
  schreibe("ref.wav", Samples(17 * 16000));
  Config c = config();
  c.chunkOrdner = pfad("chunks");
  const AusgabeFaenger ausgaben;
  const Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(c), 0);
  const auto zeilen = ausgaben.ausgabeZeilen();
  ASSERT_EQ(zeilen.size(), 2U);
  EXPECT_GT(zeiten(zeilen[0]).second, 13.0);
  EXPECT_LT(zeiten(zeilen[0]).second, 15.0);
}

// A signal while an input is read.

class EchoDateiSignalTest : public EchoDateiTest {
 protected:
  void SetUp() override {
    schreibe("mic.wav", rauschen(80000, 41));
    schreibe("ref.wav", rauschen(80000, 42));
    vorher = inhalt();
    dateien.vorher = [this](FehlerDateien::Ruf ruf) {
      if (nummer != 0 && ruf == FehlerDateien::Ruf::lesen && dateien.rufe(ruf) == 3)
        std::raise(nummer);
    };
  }
  // In a process of its own.
  [[noreturn]] void laufe() { std::_Exit(echoDatei(config(), dateien)); }

  FehlerDateien dateien;
  int nummer = 0;
  std::vector<std::string> vorher;
};

TEST_F(EchoDateiSignalTest, EndsTheProcessAsItWouldAndLeavesNoHalfFile) {
  for (const int jede : {SIGINT, SIGTERM, SIGHUP}) {
    nummer = jede;
    EXPECT_EXIT(laufe(), testing::KilledBySignal(jede), "^$");
    EXPECT_EQ(inhalt(), vorher);
  }
}

// Before there is anything to remove, not another byte is read: either input may be huge.
TEST_F(EchoDateiSignalTest, EndsTheProcessAtOnceWhileTheInputsAreLookedThrough) {
  std::ofstream(pfad("film.mp4"), std::ios::binary) << std::string(1 << 20, 'x');
  vorher = inhalt();
  for (const bool mitChunks : {true, false}) {
    Config c = mitChunks ? config() : config("film.mp4");
    if (mitChunks) c.chunkOrdner = pfad("chunks");
    EXPECT_EXIT(
        {
          dateien.vorher = [this](FehlerDateien::Ruf ruf) {
            if (ruf != FehlerDateien::Ruf::lesen || dateien.rufe(ruf) < 2) return;
            if (dateien.rufe(ruf) > 2) std::_Exit(3);
            std::raise(SIGTERM);
          };
          std::_Exit(echoDatei(c, dateien));
        },
        testing::KilledBySignal(SIGTERM), "^$");
    EXPECT_EQ(inhalt(), vorher);
  }
}

TEST_F(EchoDateiSignalTest, ThatTheParentWantsIgnoredStaysSo) {
  nummer = SIGHUP;
  EXPECT_EXIT(
      {
        std::signal(SIGHUP, SIG_IGN);
        laufe();
      },
      testing::ExitedWithCode(0), "");
  EXPECT_TRUE(fs::exists(pfad("out.wav")));
}

TEST_F(EchoDateiSignalTest, HandlersAreAfterwardsWhatTheyWereBefore) {
  void (*const eigener)(int) = [](int) {};
  for (const int jede : {SIGINT, SIGTERM, SIGHUP}) {
    const auto bisheriger = std::signal(jede, eigener);
    const Ergebnisfaenger faenger;
    EXPECT_EQ(echoDatei(config(), dateien), 0);
    EXPECT_EQ(std::signal(jede, bisheriger), eigener) << jede;
  }
}

TEST_F(EchoDateiTest, GoesOnWhereTheChunkFolderCannotBeMade) {
  const Gespraech g = gespraech();
  schreibe("mic.wav", g.mikro);
  schreibe("ref.wav", g.referenz);
  schreibe("datei", rauschen(10, 1));
  Config c = config();
  Ergebnisfaenger ohne;
  EXPECT_EQ(echoDatei(c), 0);
  const std::string sollZeile = ohne.text();
  const auto soll = dateiBytes(pfad("out.wav"));
  ASSERT_FALSE(soll.empty());

  c.chunkOrdner = pfad("datei/chunks");
  c.echoDatei[2] = pfad("out2.wav");
  const AusgabeFaenger ausgaben;
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(c), 0);
  const std::string zeile = faenger.text();
  EXPECT_EQ(zeile.substr(0, zeile.find(",\"rechenzeit_s\"")),
            sollZeile.substr(0, sollZeile.find(",\"rechenzeit_s\"")));
  EXPECT_NE(zeile.find("\"chunks_ohne_sprache\":1}"), std::string::npos) << zeile;
  EXPECT_EQ(ausgaben.ausgabe(), "");
  const auto fehler = ausgaben.fehlerZeilen();
  ASSERT_EQ(fehler.size(), 3U);
  for (std::size_t i = 0; i < fehler.size(); ++i) {
    EXPECT_EQ(fehler[i].rfind("[hallkorb] WAV-Schreibfehler (me #" + std::to_string(i) + "): ", 0),
              0U)
        << fehler[i];
  }
  EXPECT_EQ(dateiBytes(pfad("out2.wav")), soll);
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

TEST_F(EchoDateiTest, MayWriteOverTheMicrophoneUnderEveryNameItHas) {
  const Samples mikro = rauschen(16000, 7);
  schreibe("ref.wav", rauschen(16000, 8));
  const Ergebnisfaenger faenger;
  schreibe("mic.wav", mikro);
  const auto roh = dateiBytes(pfad("mic.wav"));
  EXPECT_EQ(echoDatei(config("mic.wav", "ref.wav", "getrennt.wav")), 0);
  EXPECT_EQ(dateiBytes(pfad("mic.wav")), roh);
  const auto soll = dateiBytes(pfad("getrennt.wav"));
  ASSERT_NE(soll, roh);
  ASSERT_EQ(soll.size(), roh.size());

  EXPECT_EQ(echoDatei(config("mic.wav", "ref.wav", "mic.wav")), 0);
  EXPECT_EQ(dateiBytes(pfad("mic.wav")), soll);

  // A symbolic link leads to the file that is replaced, and stays.
  schreibe("mic.wav", mikro);
  fs::create_symlink("mic.wav", pfad("verweis.wav"));
  EXPECT_EQ(echoDatei(config("mic.wav", "ref.wav", "verweis.wav")), 0);
  EXPECT_TRUE(fs::is_symlink(pfad("verweis.wav")));
  EXPECT_EQ(dateiBytes(pfad("mic.wav")), soll);

  // Of two names for one file, only the output's gets the new file.
  schreibe("mic.wav", mikro);
  fs::create_hard_link(pfad("mic.wav"), pfad("zweitname.wav"));
  EXPECT_EQ(echoDatei(config("mic.wav", "ref.wav", "zweitname.wav")), 0);
  EXPECT_EQ(dateiBytes(pfad("zweitname.wav")), soll);
  EXPECT_EQ(dateiBytes(pfad("mic.wav")), roh);
  EXPECT_EQ(inhalt(), (std::vector<std::string>{"getrennt.wav", "mic.wav", "ref.wav", "verweis.wav",
                                                "zweitname.wav"}));
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

// Neither would ever end: a pipe that nobody writes to cannot even be opened.
TEST_F(EchoDateiTest, RefusesInputsThatAreNoFiles) {
  schreibe("gut.wav", rauschen(1000, 9));
  ASSERT_EQ(::mkfifo(pfad("rohr").c_str(), 0600), 0);
  for (const std::string& schlecht : {pfad("rohr"), std::string("/dev/zero")}) {
    for (const std::size_t i : {0U, 1U}) {
      SCOPED_TRACE(schlecht);
      const AusgabeFaenger ausgaben;
      Ergebnisfaenger faenger;
      Config c = config("gut.wav", "gut.wav");
      c.echoDatei[i] = schlecht;
      EXPECT_EQ(echoDatei(c), 2);
      EXPECT_EQ(ausgaben.fehler(), "[hallkorb] --echo-datei: WAV nicht lesbar\n");
      EXPECT_EQ(faenger.text(), "");
      EXPECT_EQ(inhalt(), (std::vector<std::string>{"gut.wav", "rohr"}));
    }
  }
}

// The very last read fails: nothing may have been printed by then.
TEST_F(EchoDateiTest, NoticesAReadErrorBeforeTheFirstLine) {
  const Gespraech g = gespraech();
  schreibe("mic.wav", g.mikro);
  schreibe("ref.wav", g.referenz);
  const std::size_t lesungen = [&] {
    FehlerDateien dateien;
    const Ergebnisfaenger faenger;
    EXPECT_EQ(echoDatei(config(), dateien), 0);
    return dateien.rufe(FehlerDateien::Ruf::lesen);
  }();
  fs::remove(pfad("out.wav"));
  for (const bool mitChunks : {false, true}) {
    FehlerDateien dateien;
    dateien.scheitere(FehlerDateien::Ruf::lesen, lesungen - 1, EIO);
    Config c = config();
    if (mitChunks) c.chunkOrdner = pfad("chunks");
    const AusgabeFaenger ausgaben;
    Ergebnisfaenger faenger;
    EXPECT_EQ(echoDatei(c, dateien), 2);
    EXPECT_EQ(ausgaben.fehler(), "[hallkorb] --echo-datei: WAV nicht lesbar\n");
    EXPECT_EQ(ausgaben.ausgabe(), "");
    EXPECT_EQ(faenger.text(), "");
    EXPECT_EQ(inhalt(), (std::vector<std::string>{"mic.wav", "ref.wav"}));
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

// A folder that is not there, one instead of a file, and a file in place of a folder.
TEST_F(EchoDateiTest, NoticesATargetThatCannotBeBeforeTheFirstLine) {
  const Gespraech g = gespraech();
  schreibe("mic.wav", g.mikro);
  schreibe("ref.wav", g.referenz);
  fs::create_directory(pfad("ordner"));
  for (const std::string ziel : {"fehlt/out.wav", "ordner", "mic.wav/out.wav"}) {
    SCOPED_TRACE(ziel);
    Config c = config("mic.wav", "ref.wav", ziel);
    c.chunkOrdner = pfad("chunks");
    const AusgabeFaenger ausgaben;
    Ergebnisfaenger faenger;
    EXPECT_EQ(echoDatei(c), 2);
    EXPECT_EQ(faenger.text(), "");
    EXPECT_EQ(ausgaben.ausgabe(), "");
    const auto fehler = ausgaben.fehlerZeilen();
    ASSERT_EQ(fehler.size(), 1U);
    EXPECT_EQ(fehler[0].rfind("[hallkorb] --echo-datei: Schreiben fehlgeschlagen: ", 0), 0U);
    EXPECT_EQ(inhalt(), (std::vector<std::string>{"chunks", "mic.wav", "ordner", "ref.wav"}));
    EXPECT_TRUE(fs::is_empty(pfad("chunks")));
  }
}

TEST_F(EchoDateiTest, MayWriteTheOutputIntoTheFolderThatItMakes) {
  schreibe("mic.wav", rauschen(16000, 7));
  schreibe("ref.wav", rauschen(16000, 8));
  Config c = config("mic.wav", "ref.wav", "neu/out.wav");
  c.chunkOrdner = pfad("neu");
  const AusgabeFaenger ausgaben;
  const Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(c), 0);
  EXPECT_EQ(liesWav(pfad("neu/out.wav"))->size(), 16000U);
}

// The output is the last of all; what the chunks' lines say stays true. The output's name is an
// input's.
TEST_F(EchoDateiTest, PrintsNoStatisticsWhereOnlyTheChunksCouldBeWritten) {
  const Gespraech g = gespraech();
  schreibe("mic.wav", g.mikro);
  schreibe("ref.wav", g.referenz);
  const auto mikro = dateiBytes(pfad("mic.wav"));
  Config c = config("mic.wav", "ref.wav", "mic.wav");
  c.chunkOrdner = pfad("chunks");
  FehlerDateien dateien;
  dateien.scheitere(FehlerDateien::Ruf::umbenennen, 3, ENOSPC);
  const AusgabeFaenger ausgaben;
  Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(c, dateien), 2);
  EXPECT_EQ(faenger.text(), "");
  const auto fehler = ausgaben.fehlerZeilen();
  ASSERT_EQ(fehler.size(), 1U);
  EXPECT_EQ(fehler[0].rfind("[hallkorb] --echo-datei: Schreiben fehlgeschlagen: ", 0), 0U);
  const auto zeilen = ausgaben.ausgabeZeilen();
  EXPECT_EQ(zeilen.size(), 3U);
  for (const std::string& zeile : zeilen)
    EXPECT_EQ(zeile.rfind("{\"chunk\":", 0), 0U) << zeile;
  EXPECT_EQ(inhalt(), (std::vector<std::string>{"chunks", "mic.wav", "ref.wav"}));
  EXPECT_EQ(dateiBytes(pfad("mic.wav")), mikro);
}

// A folder in which existing files can be written, but no new ones made.
class GeschuetzterOrdner final : public FehlerDateien {
 public:
  explicit GeschuetzterOrdner(std::string ordner) : ordner_(std::move(ordner)) {}
  int oeffnen(const std::string& pfad, int flags, mode_t rechte) override {
    if ((flags & O_CREAT) != 0 && pfad.starts_with(ordner_)) return -EACCES;
    return FehlerDateien::oeffnen(pfad, flags, rechte);
  }

 private:
  std::string ordner_;
};

TEST_F(EchoDateiTest, DoesNotWriteAChunkIntoTheInputThatIsBeingRead) {
  const Gespraech g = gespraech();
  fs::create_directory(pfad("heute"));
  schreibe("heute/chunk_me_000.wav", g.mikro);
  schreibe("ref.wav", g.referenz);
  const auto mikro = dateiBytes(pfad("heute/chunk_me_000.wav"));
  Config c = config("heute/chunk_me_000.wav");
  c.chunkOrdner = pfad("heute");
  GeschuetzterOrdner dateien(pfad("heute/"));
  const AusgabeFaenger ausgaben;
  const Ergebnisfaenger faenger;
  EXPECT_EQ(echoDatei(c, dateien), 0);
  EXPECT_EQ(dateiBytes(pfad("heute/chunk_me_000.wav")), mikro);
  EXPECT_EQ(ausgaben.fehlerZeilen().size(), 3U);
  // The whole input, though the first chunk came after a third of it.
  EXPECT_EQ(liesWav(pfad("out.wav"))->size(), g.mikro.size());
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
