// Reading, creating and looking at files.
#include "tests/base/DateienTest.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/Dateien.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;

// Some systems refuse more. The bytes are not looked at, so there need not be as many.
TEST(SchreibeGanz, NoCallGetsMoreThanAGigabyte) {
  class Zaehler final : public FehlerDateien {
   public:
    ssize_t schreiben(int, std::span<const std::uint8_t> bytes) override {
      mengen.push_back(bytes.size());
      return std::ssize(bytes);
    }
    std::vector<std::size_t> mengen;
  };
  Zaehler dateien;
  const std::uint8_t byte = 0;
  constexpr std::size_t GIB = std::size_t{1} << 30U;
  const Geschrieben stand = schreibeGanz(1, std::span(&byte, 2 * GIB + 5), dateien);
  EXPECT_EQ(stand.bytes, static_cast<std::int64_t>(2 * GIB + 5));
  EXPECT_EQ(stand.nummer, 0);
  EXPECT_EQ(dateien.mengen, (std::vector<std::size_t>{GIB, GIB, 5}));
}

TEST(LiesDatei, ReadsWholeFilesInWhateverPiecesTheyCome) {
  const TempOrdner ordner;
  FehlerDateien dateien;
  for (const std::size_t anzahl : {0U, 1U, 65535U, 65536U, 65537U, 300000U}) {
    const Bytes bytes = zaehlung(anzahl);
    legeAn(ordner / "a", bytes);
    EXPECT_EQ(liesDatei(ordner / "a"), bytes);
  }
  dateien.kurz(999);
  dateien.scheitere(Ruf::oeffnen, 0, EINTR);
  dateien.scheitere(Ruf::lesen, 5, EINTR);
  EXPECT_EQ(liesDatei(ordner / "a", dateien), zaehlung(300000));
  dateien.scheitere(Ruf::lesen, 50, EIO);
  EXPECT_EQ(liesDatei(ordner / "a", dateien), std::nullopt);
  EXPECT_EQ(dateien.rufe(Ruf::schliessen), 2U);
  EXPECT_EQ(liesDatei(ordner / "fehlt"), std::nullopt);
}

TEST(ErzeugeOrdner, CreatesTheWholeWay) {
  const TempOrdner ordner;
  for (const char* pfad : {"/a/b/c", "/d//e/", "/a/b"}) {
    EXPECT_TRUE(erzeugeOrdner(ordner.pfad() + pfad).gelungen()) << pfad;
    EXPECT_TRUE(std::filesystem::is_directory(ordner.pfad() + pfad)) << pfad;
  }
  EXPECT_TRUE(erzeugeOrdner("/").gelungen());
  EXPECT_TRUE(erzeugeOrdner(".").gelungen());
  const ArbeitsOrdner hier(ordner.pfad());
  EXPECT_TRUE(erzeugeOrdner("x/y/z").gelungen());
  EXPECT_TRUE(std::filesystem::is_directory("x/y/z"));
}

TEST(ErzeugeOrdner, NamesWhatIsInTheWay) {
  const TempOrdner ordner;
  legeAn(ordner / "datei", {1});
  Ergebnis ergebnis = erzeugeOrdner(ordner / "datei");
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EEXIST);
  ergebnis = erzeugeOrdner(ordner / "datei/sub");
  ASSERT_TRUE(ergebnis.gescheitert());
  FehlerDateien dateien;
  dateien.scheitere(Ruf::ordnerAnlegen, 1, EROFS);
  ergebnis = erzeugeOrdner(ordner / "x/y", dateien);
  ASSERT_TRUE(ergebnis.gescheitert());
  EXPECT_EQ(ergebnis.fehler().code, EROFS);
  EXPECT_EQ(ergebnis.fehler().description,
            "Anlegen des Ordners " + (ordner / "x/y") + ": Read-only file system");
  EXPECT_TRUE(erzeugeOrdner("").gescheitert());
}

TEST(ErzeugeOrdner, WhatItHasCreatedNeedsNoSecondLook) {
  const TempOrdner ordner;
  const ArbeitsOrdner hier(ordner.pfad());
  FehlerDateien dateien;
  dateien.scheitere(Ruf::zustand, 0, EACCES, FehlerDateien::IMMER);
  EXPECT_TRUE(erzeugeOrdner("neu", dateien).gelungen());
  EXPECT_TRUE(std::filesystem::is_directory("neu"));
}

// Others may do with a new file what they may do with its folder; a path without one is in the
// working directory.
TEST(RechteNeuerDatei, AreThoseOfTheFolderThatThePathLeadsTo) {
  const TempOrdner ordner;
  const ArbeitsOrdner hier(ordner.pfad());
  std::filesystem::create_directory("sub");
  const std::pair<mode_t, mode_t> faelle[] = {
      {0700, 0600}, {0750, 0640}, {0755, 0644}, {0777, 0666}};
  for (const auto& [ordnerRechte, dateiRechte] : faelle) {
    ASSERT_EQ(::chmod(ordner.pfad().c_str(), ordnerRechte), 0);
    ASSERT_EQ(::chmod("sub", 0700), 0);
    EXPECT_EQ(rechteNeuerDatei("a.wav"), dateiRechte);
    EXPECT_EQ(rechteNeuerDatei(ordner / "a.wav"), dateiRechte);
    EXPECT_EQ(rechteNeuerDatei("sub/a.wav"), mode_t{0600});
  }
  EXPECT_EQ(rechteNeuerDatei("/a.wav"), 0600U | (rechte("/") & 066U));
  EXPECT_EQ(rechteNeuerDatei("fehlt/a.wav"), mode_t{0600});
}

TEST(Verweis, IsTheTextOfALinkAndOfNothingElse) {
  const TempOrdner ordner;
  std::filesystem::create_symlink("gibt es/nicht", ordner / "verweis");
  legeAn(ordner / "datei", {1});
  std::string ziel;
  EXPECT_EQ(posixDateien().verweis(ordner / "verweis", ziel), 0);
  EXPECT_EQ(ziel, "gibt es/nicht");
  EXPECT_EQ(posixDateien().verweis(ordner / "datei", ziel), -EINVAL);
  EXPECT_EQ(posixDateien().verweis(ordner / "fehlt", ziel), -ENOENT);
  EXPECT_TRUE(istVerweis(ordner / "verweis", posixDateien()));
  EXPECT_FALSE(istVerweis(ordner / "datei", posixDateien()));
}

TEST(Zustand, TellsAFileFromEveryOtherOne) {
  const TempOrdner ordner;
  legeAn(ordner / "a", {1});
  legeAn(ordner / "b", {1});
  std::filesystem::create_hard_link(ordner / "a", ordner / "c");
  const auto zustand = [&](const char* name) {
    Dateien::Zustand wert;
    EXPECT_EQ(posixDateien().zustand(ordner / name, wert), 0);
    return wert;
  };
  EXPECT_TRUE(zustand("a").selbeDatei(zustand("c")));
  EXPECT_FALSE(zustand("a").selbeDatei(zustand("b")));
  Dateien::Zustand anderswo = zustand("a");
  anderswo.geraet += 1;
  EXPECT_FALSE(zustand("a").selbeDatei(anderswo));
  EXPECT_EQ(zustand("a").groesse, 1);
  EXPECT_EQ(zustand("a").art, Dateien::Art::datei);
  EXPECT_EQ(zustand("").art, Dateien::Art::ordner);
  EXPECT_TRUE(zustand("a").eigen);
}

TEST(PfadIn, PutsASeparatorOnlyWhereThereIsNone) {
  EXPECT_EQ(pfadIn("/a", "b"), "/a/b");
  EXPECT_EQ(pfadIn("/a/", "b"), "/a/b");
  EXPECT_EQ(pfadIn("/", "b"), "/b");
  EXPECT_EQ(pfadIn("", "b"), "b");
}

}  // namespace
}  // namespace hallkorb
