// Putting a recording together while a file operation fails, in each of the ways in which disks
// fail, with links at the names of the results: the recording and what the links lead to stay as
// they are, what is not in the results is reported, and the next run makes all of them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "session/Zusammenfuegung.h"
#include "tests/session/Ordnerbau.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/Niemand.h"

namespace hallkorb {
namespace {

using Inhalte = std::map<std::string, Bytes>;

const std::vector<std::string> ERGEBNISSE{"zusammen.wav",      "zusammen_me.wav",
                                          "zusammen_them.wav", "zusammen.txt",
                                          "zusammen.vtt",      "zusammen_kapitel.txt"};

class ZusammenFehler : public testing::Test {
 protected:
  ZusammenFehler() {
    bau_.start();
    bau_.chunk("me", 0, 0.0, 0.1);
    bau_.chunk("me", 1, 0.1, 0.2);
    bau_.chunk("them", 0, 0.05, 0.15);
    bau_.zeile(R"({"event":"video_start","quelle":"Zoom","t_s":0.1})");
    bau_.ende();
    legeAn(profil_, PROFIL);
    aufnahme_ = inhalte(false);
  }

  // Everything in the folder but links: the results, or what was recorded.
  [[nodiscard]] Inhalte inhalte(bool ergebnisse) const {
    Inhalte alle;
    for (const std::string& name : bau_.ordner().namen()) {
      if (name.starts_with("zusammen") == ergebnisse && !istVerweis(bau_ / name, posixDateien()))
        alle[name] = dateiBytes(bau_ / name);
    }
    return alle;
  }

  void verweise() const {
    for (const std::string& name : ERGEBNISSE) {
      std::filesystem::remove(bau_ / name);
      std::filesystem::create_symlink(profil_, bau_ / name);
    }
  }

  // Whether it says that everything has come into being.
  bool fuege(bool einzeln, Dateien& dateien = posixDateien()) const {
    const auto ergebnis =
        fuegeZusammen(bau_.ordner().pfad(), {"", einzeln, false}, nullptr, dateien);
    const auto* alle = std::get_if<std::vector<Ergebnisdatei>>(&ergebnis);
    return alle != nullptr && std::all_of(alle->begin(), alle->end(),
                                          [](const Ergebnisdatei& eine) { return eine.gelungen; });
  }

  // What comes into being if nothing fails, and the number of operations.
  std::size_t heil(bool einzeln) {
    verweise();
    FehlerDateien zaehlend;
    EXPECT_TRUE(fuege(einzeln, zaehlend));
    heil_ = inhalte(true);
    EXPECT_EQ(heil_.size(), einzeln ? 5U : 4U);
    return zaehlend.rufe();
  }

  void pruefeUnberuehrtes() const {
    EXPECT_EQ(dateiBytes(profil_), PROFIL);
    EXPECT_EQ(inhalte(false), aufnahme_);
  }

  static inline const Bytes PROFIL{1, 2, 3};
  Ordnerbau bau_;
  TempOrdner fremd_;
  const std::string profil_ = fremd_ / "profil";
  Inhalte aufnahme_;
  Inhalte heil_;
};

// Each operation fails in two of the ways, which take turns.
TEST_F(ZusammenFehler, EachOperationFailsOnceOrForGood) {
  constexpr std::array ARTEN{ENOSPC, EIO, EMFILE, EACCES, EINTR, FehlerDateien::KURZ};
  constexpr std::size_t SCHRITT = 3;
  std::size_t gemeldet = 0;
  std::size_t laeufe = 0;
  for (const bool einzeln : {false, true}) {
    const std::size_t rufe = heil(einzeln);
    for (std::size_t n = 0; n < rufe; ++n) {
      for (std::size_t k = n % SCHRITT; k < ARTEN.size(); k += SCHRITT) {
        const int nummer = ARTEN[k];
        const bool immer = nummer != EINTR && (n + k) / SCHRITT % 2 == 0;
        SCOPED_TRACE(testing::Message() << n << " " << nummer << (immer ? " for good" : " once"));
        verweise();
        FehlerDateien dateien;
        dateien.scheitere(n, nummer, immer ? FehlerDateien::IMMER : 1);
        const bool alles = fuege(einzeln, dateien);
        dateien.scheitereNichtMehr();
        if (alles) {
          EXPECT_EQ(inhalte(true), heil_);
        }
        for (const std::string& name : bau_.ordner().namen())
          if (name.starts_with(".hallkorb-")) std::filesystem::remove(bau_ / name);
        pruefeUnberuehrtes();
        gemeldet += !alles;
        ++laeufe;
        EXPECT_TRUE(fuege(einzeln));
        EXPECT_EQ(inhalte(true), heil_);
        if (HasFailure()) return;
      }
    }
  }
  EXPECT_GT(gemeldet, laeufe / 3);
  EXPECT_LT(gemeldet, laeufe);
}

// A folder from an archive, in which nothing may be changed, with links at the names of the results
// or with second names of somebody's files. The real thing: with permissions.
TEST_F(ZusammenFehler, AFolderThatAllowsNoChangeLeadsNowhere) {
  for (const bool zweiterName : {false, true}) {
    SCOPED_TRACE(zweiterName ? "second names" : "links");
    for (const std::string& name : ERGEBNISSE) {
      std::filesystem::remove(bau_ / name);
      if (zweiterName) {
        std::filesystem::create_hard_link(profil_, bau_ / name);
      } else {
        std::filesystem::create_symlink(profil_, bau_ / name);
      }
    }
    ASSERT_TRUE(Niemand::gehoere(bau_.ordner().pfad()));
    ASSERT_TRUE(Niemand::gehoere(fremd_.pfad()));
    ASSERT_EQ(::chmod(bau_.ordner().pfad().c_str(), 0555), 0);
    std::size_t gelungen = 0;
    {
      const Niemand niemand;
      ASSERT_TRUE(niemand.gelungen());
      for (const bool einzeln : {false, true}) {
        const auto ergebnis = fuegeZusammen(bau_.ordner().pfad(), {"", einzeln, false});
        for (const auto& eine : std::get<std::vector<Ergebnisdatei>>(ergebnis))
          gelungen += eine.gelungen;
      }
    }
    ASSERT_EQ(::chmod(bau_.ordner().pfad().c_str(), 0755), 0);
    EXPECT_EQ(gelungen, 0U);
    EXPECT_EQ(fremd_.namen(), std::vector<std::string>{"profil"});
    pruefeUnberuehrtes();
  }
}

// A bad sector: what cannot be read is silence, and is named.
TEST_F(ZusammenFehler, WhatCannotBeReadIsNamed) {
  using Ruf = FehlerDateien::Ruf;
  heil(false);
  FehlerDateien zaehlend;
  ASSERT_TRUE(fuege(false, zaehlend));
  FehlerDateien kaputt;
  kaputt.scheitere(Ruf::lesenAn, zaehlend.rufe(Ruf::lesenAn) - 1, EIO);  // the last chunk's samples
  const auto ergebnis = fuegeZusammen(bau_.ordner().pfad(), {}, nullptr, kaputt);
  const auto& alle = std::get<std::vector<Ergebnisdatei>>(ergebnis);
  ASSERT_EQ(alle.size(), 5U);
  EXPECT_EQ(alle[1].datei, "chunk_them_000.wav");
  EXPECT_FALSE(alle[1].gelungen);
  EXPECT_EQ(dateiBytes(bau_ / "zusammen.wav").size(), heil_["zusammen.wav"].size());
}

}  // namespace
}  // namespace hallkorb
