// A repair in which a file operation fails, or that is killed before one: for every operation, in
// each of the ways in which disks fail, once and for good.
//
// Whatever happens, every byte of the recording is still there under its name or among the
// originals; what was not done is reported; the next repair finishes the work, so that the folder
// is what it would have been at once; and the one after it finds nothing to do. HALLKORB_LANG=1
// tries every combination; otherwise each operation fails in a few of the ways, which take turns.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "base/Fremdprogramm.h"
#include "session/Reparatur.h"
#include "tests/session/Ordnerbau.h"
#include "tests/support/FehlerDateien.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;
using Inhalte = std::map<std::string, Bytes>;

struct Art {
  int nummer;         // error number, or FehlerDateien::KURZ
  std::size_t dauer;  // calls that fail
};

// No call is interrupted for ever.
std::vector<Art> arten() {
  std::vector<Art> alle;
  for (const int nummer : {ENOSPC, EIO, EMFILE, EROFS, EACCES, EPERM, EINTR, FehlerDateien::KURZ}) {
    for (const std::size_t dauer : {std::size_t{1}, std::size_t{5}, FehlerDateien::IMMER})
      if (nummer != EINTR || dauer != FehlerDateien::IMMER) alle.push_back({nummer, dauer});
  }
  return alle;
}

std::string beschreibung(std::size_t n, const Art& art) {
  const std::string was = art.nummer == FehlerDateien::KURZ
                              ? "is short"
                              : "fails: " + std::generic_category().message(art.nummer);
  const std::string wieOft = art.dauer == FehlerDateien::IMMER ? "all" : std::to_string(art.dauer);
  return "from operation " + std::to_string(n) + " on " + wieOft + " " + was;
}

Inhalte inhalte(const std::string& ordner) {
  Inhalte alle;
  for (const auto& eintrag : std::filesystem::directory_iterator(ordner))
    if (eintrag.is_regular_file())
      alle[eintrag.path().filename().string()] = dateiBytes(eintrag.path().string());
  return alle;
}

struct Lauf {
  bool verweigert = false;  // with an error for the folder as a whole
  std::vector<Tat> taten;

  [[nodiscard]] bool alles() const {
    return !verweigert &&
           std::all_of(taten.begin(), taten.end(), [](const Tat& tat) { return tat.gelungen; });
  }
  [[nodiscard]] std::string gedruckt() const {
    std::string text;
    for (const Tat& tat : taten)
      text += (tat.gelungen ? "" : "! ") + tat.datei + ": " + tat.text + "\n";
    return text;
  }
};

class ReparaturFehler : public testing::Test {
 protected:
  static bool lang() { return std::getenv("HALLKORB_LANG") != nullptr; }

  // What kill -9 leaves, all of it at once: headers that are behind, half a sample, files that were
  // being written, one in which nothing was written yet, half a line, a rest in the raw file alone.
  void zerstoere() {
    bau_.start();
    bau_.chunk("me", 0, 0.0, 0.1);
    bau_.chunk("them", 0, 0.0, 0.15);
    // A little longer than its line says: where the rest begins shows only when it is repaired.
    bau_.wav("chunk_me_001.wav", 1600, 1660);
    bau_.chunkZeile("me", 1, 0.1, 0.2, "/weg/chunk_me_001.wav");
    bau_.setze("chunk_me_001.wav", 40, 20);
    bau_.kuerze("chunk_them_000.wav", 2001);
    bau_.wav("chunk_me_002.wav", 0, 0);
    bau_.kuerze("chunk_me_002.wav", 40);
    bau_.wav(ROHDATEI, 0, 5000);
    bau_.setze(ROHDATEI, 4, 0);
    bau_.setze(ROHDATEI, 40, 0);
    bau_.roh(R"({"event":"vid)");
    legeAn(bau_ / ".hallkorb-17-3.teil", Bytes(700, 3));
    legeAn(bau_ / VIDEODATEI, mp4Anfang());
  }

  // A video in fragments and nothing else; false without ffmpeg.
  bool zerstoereVideo() {
    bau_.start();
    bau_.ende();
    return fuehreProgrammAus({"ffmpeg", "-nostdin", "-v", "error", "-i",
                              std::string(HALLKORB_BEISPIEL) + "/video.mp4", "-c", "copy", "-t",
                              "3", "-movflags", "frag_keyframe+empty_moov", bau_ / VIDEODATEI})
        .gelungen();
  }

  // The damaged folder again, always at the same path, since that is in a line.
  const std::string& neu() {
    std::filesystem::remove_all(arbeit_);
    std::filesystem::copy(bau_.ordner().pfad(), arbeit_, std::filesystem::copy_options::recursive);
    return arbeit_;
  }

  Lauf repariere(Dateien& dateien = posixDateien()) {
    auto ergebnis = repariereSitzung(arbeit_, nullptr, dateien);
    if (!std::holds_alternative<std::vector<Tat>>(ergebnis)) return {true, {}};
    return {false, std::get<std::vector<Tat>>(std::move(ergebnis))};
  }

  // What of the recording is gone.
  [[nodiscard]] std::string verloren(const Inhalte& vorher) const {
    const Inhalte jetzt = inhalte(arbeit_);
    const std::string ort = arbeit_ + "/originale";
    const Inhalte originale = std::filesystem::is_directory(ort) ? inhalte(ort) : Inhalte{};
    for (const auto& [name, bytes] : vorher) {
      const auto da = jetzt.find(name);
      if (da != jetzt.end() && da->second == bytes) continue;
      if (std::none_of(originale.begin(), originale.end(),
                       [&](const auto& original) { return original.second == bytes; })) {
        return name;
      }
    }
    return {};
  }

  // The number of operations of a repair without a fault, and what it makes of the folder.
  std::size_t heil() {
    neu();
    vorher_ = inhalte(arbeit_);
    FehlerDateien zaehlend;
    zaehlend.vorher = [&](Ruf) { EXPECT_EQ(verloren(vorher_), ""); };
    const Lauf lauf = repariere(zaehlend);
    EXPECT_TRUE(lauf.alles()) << lauf.gedruckt();
    nachher_ = inhalte(arbeit_);
    EXPECT_NE(nachher_, vorher_);
    EXPECT_TRUE(repariere().taten.empty());
    return zaehlend.rufe();
  }

  // After a repair that came to an early end: the next one finishes it.
  void pruefeWeiter() {
    EXPECT_EQ(verloren(vorher_), "");
    const Lauf zweiter = repariere();
    EXPECT_TRUE(zweiter.alles()) << zweiter.gedruckt();
    EXPECT_EQ(inhalte(arbeit_), nachher_);
    EXPECT_EQ(verloren(vorher_), "");
    const Lauf dritter = repariere();
    EXPECT_TRUE(dritter.taten.empty()) << dritter.gedruckt();
  }

  // Which original the recording still has: the same file, so that who writes into it changes both,
  // or a copy that nobody needs.
  [[nodiscard]] std::string doppelt() const {
    const std::string ort = arbeit_ + "/originale";
    if (!std::filesystem::is_directory(ort)) return {};
    const Inhalte jetzt = inhalte(arbeit_);
    for (const auto& [name, bytes] : inhalte(ort))
      for (const auto& [datei, andere] : jetzt)
        if (andere == bytes) return name;
    return {};
  }

  // `aufgeraeumt`: neither reading nor removing fails, so nothing is kept in vain.
  void pruefe(FehlerDateien& dateien, bool aufgeraeumt = false) {
    neu();
    dateien.vorher = [&](Ruf ruf) {
      if (ruf == Ruf::umbenennen || ruf == Ruf::schreiben || ruf == Ruf::loeschen) {
        EXPECT_EQ(verloren(vorher_), "");
      }
    };
    const Lauf lauf = repariere(dateien);
    if (lauf.alles()) {
      EXPECT_EQ(inhalte(arbeit_), nachher_) << lauf.gedruckt();
    }
    if (aufgeraeumt) {
      EXPECT_EQ(doppelt(), "");
    }
    gemeldet_ += !lauf.alles();
    ++laeufe_;
    pruefeWeiter();
  }

  // Before its n-th operation the repairing process is killed; false if it has fewer.
  bool toete(std::size_t n, std::size_t kurz) {
    neu();
    const pid_t kind = ::fork();
    if (kind == 0) {
      FehlerDateien dateien;
      dateien.kurz(kurz);
      dateien.vorher = [&](Ruf) {
        if (dateien.rufe() == n) ::kill(::getpid(), SIGKILL);
      };
      repariere(dateien);
      ::_exit(0);
    }
    int zustand = 0;
    EXPECT_EQ(::waitpid(kind, &zustand, 0), kind);
    pruefeWeiter();
    return WIFSIGNALED(zustand);
  }

  Ordnerbau bau_;
  TempOrdner halter_;
  const std::string arbeit_ = halter_ / "sitzung";
  Inhalte vorher_;
  Inhalte nachher_;
  std::size_t laeufe_ = 0;
  std::size_t gemeldet_ = 0;
};

TEST_F(ReparaturFehler, EachOperationFailsOnceOrForGood) {
  zerstoere();
  const std::size_t rufe = heil();
  const auto wie = arten();
  const std::size_t schritt = lang() ? 1 : 14;
  for (std::size_t n = 0; n < rufe; ++n) {
    for (std::size_t k = n % schritt; k < wie.size(); k += schritt) {
      SCOPED_TRACE(beschreibung(n, wie[k]));
      FehlerDateien dateien;
      dateien.scheitere(n, wie[k].nummer, wie[k].dauer);
      pruefe(dateien);
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(gemeldet_, laeufe_ / 2);
  EXPECT_LT(gemeldet_, laeufe_);
  std::printf("%zu operations, %zu repairs, %zu with something to report\n", rufe, laeufe_,
              gemeldet_);
}

// A disk without room takes no new bytes and no new names, and still renames and removes.
TEST_F(ReparaturFehler, TheDiskIsFullFromAnyMomentOn) {
  zerstoere();
  heil();
  for (const std::size_t stueck : {std::size_t{1000}, FehlerDateien::IMMER}) {
    for (std::size_t n = 0;; ++n) {
      SCOPED_TRACE(std::to_string(n) + " writes of " + std::to_string(stueck));
      FehlerDateien dateien;
      dateien.kurz(stueck);
      dateien.scheitere(Ruf::schreiben, n, ENOSPC, FehlerDateien::IMMER);
      const std::size_t bisher = gemeldet_;
      pruefe(dateien, true);
      ASSERT_FALSE(HasFailure());
      if (dateien.rufe(Ruf::schreiben) <= n) break;
      EXPECT_EQ(gemeldet_, bisher + 1);
    }
  }
}

// Where a file can have one name only, its original is a copy.
TEST_F(ReparaturFehler, WithoutSecondNamesTheOriginalsAreCopies) {
  zerstoere();
  const auto ohneNamen = [](FehlerDateien& dateien) {
    dateien.scheitere(Ruf::verknuepfen, 0, EPERM, FehlerDateien::IMMER);
  };
  heil();
  FehlerDateien zaehlend;
  ohneNamen(zaehlend);
  pruefe(zaehlend);
  ASSERT_FALSE(HasFailure());
  EXPECT_EQ(gemeldet_, 0U);
  EXPECT_GE(zaehlend.rufe(Ruf::aufPlatte), 4U);
  for (const Ruf ruf : {Ruf::oeffnen, Ruf::lesen, Ruf::schreiben, Ruf::aufPlatte, Ruf::schliessen,
                        Ruf::umbenennen, Ruf::verweis, Ruf::zustand, Ruf::ordnerAnlegen}) {
    for (std::size_t n = 0; n < zaehlend.rufe(ruf); ++n) {
      SCOPED_TRACE(std::to_string(n) + " of kind " + std::to_string(static_cast<int>(ruf)));
      FehlerDateien dateien;
      ohneNamen(dateien);
      dateien.scheitere(ruf, n, n % 2 == 0 ? ENOSPC : EIO, n % 3 == 0 ? 1 : FehlerDateien::IMMER);
      pruefe(dateien, ruf == Ruf::schreiben || ruf == Ruf::aufPlatte || ruf == Ruf::umbenennen);
      ASSERT_FALSE(HasFailure());
    }
  }
}

// Somebody writes into a file that was copied, and is then not replaced.
TEST_F(ReparaturFehler, ACopyOfWhatHasChangedStays) {
  zerstoere();
  vorher_ = inhalte(neu());
  FehlerDateien dateien;
  dateien.scheitere(Ruf::verknuepfen, 0, EPERM, FehlerDateien::IMMER);
  dateien.scheitere(Ruf::umbenennen, 2, EIO);  // after an unfinished file and the copy
  dateien.vorher = [&](Ruf ruf) {
    if (ruf == Ruf::umbenennen && dateien.rufe(ruf) == 2)
      legeAn(arbeit_ + "/chunk_me_001.wav", Bytes(vorher_["chunk_me_001.wav"].size()));
  };
  EXPECT_FALSE(repariere(dateien).alles());
  EXPECT_EQ(verloren(vorher_), "");
}

// The folder allows no new file, and its files could be written to: that would change the original,
// which is the same file by its second name.
TEST_F(ReparaturFehler, NothingIsWrittenIntoAFileThatCannotBeReplaced) {
  zerstoere();
  heil();
  for (const Ruf ruf : {Ruf::oeffnen, Ruf::umbenennen}) {
    for (const int nummer : {EACCES, EPERM, EROFS}) {
      for (std::size_t n = 0;; ++n) {
        SCOPED_TRACE(std::to_string(n) + ": " + std::generic_category().message(nummer));
        FehlerDateien dateien;
        dateien.scheitere(ruf, n, nummer);
        pruefe(dateien);
        ASSERT_FALSE(HasFailure());
        if (dateien.rufe(ruf) <= n) break;
      }
    }
  }
}

TEST_F(ReparaturFehler, KilledBeforeAnyOperation) {
  zerstoere();
  const std::size_t rufe = heil();
  // Short writes, so that it is killed in the middle of a file, too.
  for (const std::size_t kurz : {FehlerDateien::IMMER, std::size_t{1500}}) {
    const std::size_t schritt = lang() ? 1 : 3;
    std::size_t n = kurz % schritt;
    for (; toete(n, kurz); n += schritt)
      ASSERT_FALSE(HasFailure()) << "killed before operation " << n;
    EXPECT_GE(n, rufe);
  }
}

TEST_F(ReparaturFehler, AVideoInFragmentsIsNeitherLostNorHalfDone) {
  if (fuehreProgrammAus({"ffmpeg", "-version"}).fehlt()) GTEST_SKIP() << "no ffmpeg";
  ASSERT_TRUE(zerstoereVideo());
  const std::size_t rufe = heil();
  const std::size_t schritt = lang() ? 1 : 7;
  for (std::size_t n = 0; n < rufe; n += schritt) {
    SCOPED_TRACE("operation " + std::to_string(n));
    FehlerDateien dateien;
    dateien.scheitere(n, n % 3 == 0 ? EIO : ENOSPC, n % 2 == 0 ? 1 : FehlerDateien::IMMER);
    pruefe(dateien);
    toete(n, FehlerDateien::IMMER);
    ASSERT_FALSE(HasFailure());
  }
  // The moments that decide, each in any case.
  for (const Ruf ruf : {Ruf::verknuepfen, Ruf::umbenennen, Ruf::loeschen, Ruf::ordnerAnlegen}) {
    for (std::size_t n = 0; n < 2; ++n) {
      FehlerDateien dateien;
      dateien.scheitere(ruf, n, EACCES, n == 0 ? FehlerDateien::IMMER : 1);
      pruefe(dateien);
      ASSERT_FALSE(HasFailure());
    }
  }
}

// The real thing. Nothing is forbidden to root, who therefore becomes somebody else for it.
TEST_F(ReparaturFehler, AFolderWithoutPermissionToWriteStaysAsItIs) {
  constexpr uid_t NIEMAND = 65534;
  zerstoere();
  heil();
  neu();
  ASSERT_TRUE(std::filesystem::create_directory(arbeit_ + "/originale"));
  const bool root = ::geteuid() == 0;
  if (root) {
    ASSERT_EQ(::chmod(halter_.pfad().c_str(), 0755), 0);
    for (const auto& eintrag : std::filesystem::recursive_directory_iterator(halter_.pfad()))
      ASSERT_EQ(::chown(eintrag.path().c_str(), NIEMAND, NIEMAND), 0);
  }
  ASSERT_EQ(::chmod(arbeit_.c_str(), 0555), 0);
  if (root) {
    ASSERT_EQ(::seteuid(NIEMAND), 0);
  }
  const Lauf lauf = repariere();
  if (root) {
    ASSERT_EQ(::seteuid(0), 0);
  }
  ASSERT_EQ(::chmod(arbeit_.c_str(), 0755), 0);
  EXPECT_FALSE(lauf.alles());
  EXPECT_EQ(inhalte(arbeit_), vorher_);
  pruefeWeiter();
}

}  // namespace
}  // namespace hallkorb
