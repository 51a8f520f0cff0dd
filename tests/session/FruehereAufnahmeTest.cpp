// A folder that was recorded into again: what the earlier recording has left is not taken for the
// last one's.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "base/Dateien.h"
#include "session/FruehereAufnahme.h"
#include "session/Nachtrag.h"
#include "session/Reparatur.h"
#include "session/Seitendaten.h"
#include "session/Zusammenfuegung.h"
#include "tests/session/Ordnerbau.h"
#include "tool/Befehle.h"

namespace hallkorb {
namespace {

using Namen = std::vector<std::string>;

class FruehereAufnahme : public testing::Test {
 protected:
  // Two recordings into one folder, the second one with a single chunk and then killed. Of the
  // first one a longer raw file, a video and two chunks are left.
  void SetUp() override {
    bau_.wav(ROHDATEI, 0, 400'000);
    bau_.setze(ROHDATEI, 40, 20);  // killed, too
    bau_.wav("chunk_me_001.wav", 16'000, 16'000);
    bau_.wav("chunk_them_004.wav", 0, 8000);
    Bytes mp4 = mp4Anfang();
    mp4Kopf(mp4, 12, false);
    legeAn(bau_ / VIDEODATEI, mp4);
    for (const std::string& name : bau_.ordner().namen())
      altere(name);
    bau_.zeile(R"({"event":"started","mic":true,"system":true,"null_unix_ms":1})");
    bau_.zeile(R"({"event":"started","mic":true,"system":true,"video":true,"null_unix_ms":)" +
               std::to_string(jetzt() * 1000) + "}");
    bau_.chunk("me", 0, 0.0, 1.0);
  }

  void altere(const std::string& name) const {
    const auto pfad = bau_ / name;
    std::filesystem::last_write_time(
        pfad, std::filesystem::last_write_time(pfad) - std::chrono::hours(1));
  }
  // By the clock that gives files their times.
  [[nodiscard]] std::int64_t jetzt() const {
    Dateien::Zustand zustand;
    EXPECT_EQ(posixDateien().zustand(bau_ / EREIGNISSE, zustand), 0);
    return zustand.geaendert;
  }
  [[nodiscard]] Ereignisse zeilen() const { return liesEreignisse(bau_ / EREIGNISSE).value(); }
  [[nodiscard]] Sitzungsordner gelesen() const {
    return liesSitzungsordner(bau_.ordner().pfad()).value();
  }
  [[nodiscard]] Namen repariere() const {
    const auto ergebnis = repariereSitzung(bau_.ordner().pfad());
    if (!std::holds_alternative<std::vector<Tat>>(ergebnis)) return {"refused"};
    Namen namen;
    for (const Tat& tat : std::get<std::vector<Tat>>(ergebnis))
      namen.push_back((tat.gelungen ? "" : "! ") + tat.datei);
    return namen;
  }

  Ordnerbau bau_;
};

const Namen FRUEHER{"chunk_me_001.wav", "chunk_them_004.wav", ROHDATEI, VIDEODATEI};

TEST_F(FruehereAufnahme, WhatItHasLeftIsFoundAndNothingIsPromised) {
  EXPECT_EQ(bau_.auffaellig(),
            (Namen{"uebrig chunk_me_001.wav", "uebrig chunk_them_004.wav", "uebrig mikro_roh.wav",
                   "uebrig video.mp4", "abgeschnitten ereignisse.jsonl"}));
  EXPECT_EQ(bau_.reparierbar(), std::set<std::string>{});
  EXPECT_EQ(bau_.pruefe()[0].thema, Thema::frueher);
}

TEST_F(FruehereAufnahme, ARepairLeavesItAlone) {
  const Namen vorher = bau_.ordner().namen();
  const Bytes roh = dateiBytes(bau_ / ROHDATEI);
  EXPECT_EQ(repariere(), Namen{});
  EXPECT_EQ(bau_.ordner().namen(), vorher);
  EXPECT_EQ(dateiBytes(bau_ / ROHDATEI), roh);
}

TEST_F(FruehereAufnahme, ItsNumbersStayTaken) {
  const Ereignisse alle = zeilen();
  const Sitzungsordner ordner = ohneFruehere(gelesen(), &alle);
  EXPECT_EQ(ordner.frueher, FRUEHER);
  EXPECT_FALSE(ordner.roh || ordner.video);
  EXPECT_EQ(ordner.chunksVon(Kanal::me).size(), 1U);
  EXPECT_EQ(naechsteNummer(ordner, alle), 2);
}

TEST_F(FruehereAufnahme, ItIsNeitherShownNorPutTogether) {
  const Ereignisse alle = zeilen();
  const Seitendaten daten = sammleSeitendaten(gelesen(), &alle);
  EXPECT_DOUBLE_EQ(daten.dauer, 1.0);
  EXPECT_TRUE(daten.roh.stufen.empty());
  const auto ergebnis = fuegeZusammen(bau_.ordner().pfad(), {});
  const auto& dateien = std::get<std::vector<Ergebnisdatei>>(ergebnis);
  EXPECT_EQ(dateien.back().datei, VIDEODATEI);
  EXPECT_FALSE(dateien.back().gelungen);
  EXPECT_FALSE(std::filesystem::exists(bau_ / "zusammen.mp4"));
}

// There may be many more of its chunks.
TEST_F(FruehereAufnahme, ItHasNoVoteOnTheRate) {
  for (const char* name : {"chunk_me_001.wav", "chunk_them_004.wav"}) {
    bau_.wav(name, 0, 48'000, 48'000);
    altere(name);
  }
  const auto ergebnis = fuegeZusammen(bau_.ordner().pfad(), {});
  ASSERT_TRUE(std::holds_alternative<std::vector<Ergebnisdatei>>(ergebnis));
  const Ergebnisdatei& erste = std::get<std::vector<Ergebnisdatei>>(ergebnis).front();
  EXPECT_TRUE(erste.gelungen);
  EXPECT_EQ(erste.datei, "zusammen.wav");
  EXPECT_TRUE(erste.text.ends_with(", 1.00 s")) << erste.text;
}

TEST_F(FruehereAufnahme, ItIsNotCountedAsTheLastOnes) {
  Aufruf aufruf;
  aufruf.ordner = bau_.ordner().pfad();
  testing::internal::CaptureStdout();
  const int status = fuehreAus(aufruf, nullptr);
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(status, AUFFAELLIG);
  EXPECT_TRUE(text.ends_with("\nauffaellig: 1 Chunks von me, 0 von them\n")) << text;
}

TEST_F(FruehereAufnahme, AnAnnouncedChunkIsOfTheLastOne) {
  altere("chunk_me_000.wav");
  const Ereignisse alle = zeilen();
  EXPECT_EQ(ohneFruehere(gelesen(), &alle).frueher, FRUEHER);
}

// What lies under an announced name differs in length and in rate: two findings about one chunk.
TEST_F(FruehereAufnahme, AnAnnouncedChunkCountsInEachFindingOfThePage) {
  bau_.wav("chunk_me_001.wav", 0, 72'000, 48'000);
  altere("chunk_me_001.wav");
  bau_.chunkZeile("me", 1, 1.0, 2.0, "chunk_me_001.wav");
  const Ereignisse alle = zeilen();
  const auto satz = nlohmann::json::parse(sammleSeitendaten(gelesen(), &alle).json);
  Namen themen;
  for (const auto& befund : satz["befunde"]) {
    if (befund["art"] != "zweifelhaft") continue;
    themen.push_back(befund["thema"]);
    EXPECT_EQ(befund["anzahl"], 1);
  }
  EXPECT_EQ(themen, (Namen{"", "rate"}));
}

// A package gives all files one time, and without lines nobody knows when it began.
TEST_F(FruehereAufnahme, WhereTimesMeanNothingEverythingIsOfTheLastOne) {
  altere(EREIGNISSE);
  const Ereignisse alle = zeilen();
  EXPECT_EQ(ohneFruehere(gelesen(), &alle).frueher, Namen{});
  EXPECT_EQ(ohneFruehere(gelesen(), nullptr).frueher, Namen{});
  EXPECT_EQ(repariere(), (Namen{ROHDATEI, "chunk_me_002.wav"}));
}

TEST_F(FruehereAufnahme, ARawFileOfTheLastOneIsItsOwn) {
  bau_.wav(ROHDATEI, 0, 24'000);
  EXPECT_EQ(repariere(), Namen{"chunk_me_002.wav"});
  EXPECT_DOUBLE_EQ(zeilen().chunksVon(Kanal::me)[1].t1, 1.5);
  EXPECT_EQ(repariere(), Namen{});
}

}  // namespace
}  // namespace hallkorb
