// Recorded folders as tests make them: chunks, a raw file, lines, videos put together from boxes.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "audiofiles/Wav.h"
#include "session/Ereignisse.h"
#include "session/Pruefung.h"
#include "session/Sitzungsordner.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {

using Bytes = std::vector<std::uint8_t>;

class Ordnerbau {
 public:
  static constexpr int RATE = 16000;

  [[nodiscard]] const TempOrdner& ordner() const { return ordner_; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return ordner_ / name; }

  // Samples that show where in the channel they were, from place `ab` on.
  static std::vector<float> ton(std::int64_t ab, std::int64_t anzahl) {
    std::vector<float> samples;
    for (std::int64_t i = ab; i < ab + anzahl; ++i)
      samples.push_back(static_cast<float>(i % 20011 + 100) / 32767.0F);
    return samples;
  }

  void wav(const std::string& name, std::int64_t ab, std::int64_t anzahl,
           double rate = RATE) const {
    ASSERT_TRUE(writeWav(ton(ab, anzahl), rate, ordner_ / name).gelungen());
  }

  // A chunk with its line.
  void chunk(const char* kanal, int nummer, double t0, double t1) {
    const auto ab = std::llround(t0 * RATE);
    const std::string name =
        std::string("chunk_") + kanal + "_00" + std::to_string(nummer) + ".wav";
    wav(name, ab, std::llround(t1 * RATE) - ab);
    chunkZeile(kanal, nummer, t0, t1, "/weg/" + name);
  }
  void chunkZeile(const char* kanal, int nummer, double t0, double t1, const std::string& pfad) {
    char zeiten[64];
    std::snprintf(zeiten, sizeof zeiten, "\"t0\":%.2f,\"t1\":%.2f", t0, t1);
    zeile("{\"chunk\":" + std::to_string(nummer) + ",\"channel\":\"" + kanal + "\",\"path\":\"" +
          pfad + "\"," + zeiten + "}");
  }
  void start(bool echo = true) {
    zeile(std::string(R"({"event":"started","mic":true,"system":true,"video":true,"echo":)") +
          (echo ? "true" : "false") + R"(,"null_unix_ms":1795220400123})");
  }
  void ende() { zeile(R"({"event":"done"})"); }
  void zeile(const std::string& text) { roh(text + "\n"); }
  void roh(const std::string& text) {
    std::ofstream datei(ordner_ / EREIGNISSE, std::ios::binary | std::ios::app);
    datei << text;
  }

  // Overwrites a number of four bytes, little-endian.
  void setze(const std::string& name, std::size_t stelle, std::uint32_t wert) const {
    Bytes bytes = dateiBytes(ordner_ / name);
    for (int i = 0; i < 4; ++i)
      bytes[stelle + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(wert >> (8 * i));
    legeAn(ordner_ / name, bytes);
  }
  // The same in place, for a file that is too long to be read.
  void setzeImOrt(const std::string& name, std::streamoff stelle, std::uint32_t wert) const {
    std::fstream datei(ordner_ / name, std::ios::binary | std::ios::in | std::ios::out);
    datei.seekp(stelle);
    for (int i = 0; i < 4; ++i)
      datei.put(static_cast<char>(static_cast<std::uint8_t>(wert >> (8 * i))));
  }
  void kuerze(const std::string& name, std::size_t bytes) const {
    Bytes inhalt = dateiBytes(ordner_ / name);
    inhalt.resize(bytes);
    legeAn(ordner_ / name, inhalt);
  }

  [[nodiscard]] std::vector<Befund> pruefe() const {
    const auto gelesen = liesSitzungsordner(ordner_.pfad());
    const auto zeilen = liesEreignisse(ordner_ / EREIGNISSE);
    return pruefeSitzung(*gelesen, zeilen ? &*zeilen : nullptr);
  }
  // Findings as "kind file", hints left out.
  [[nodiscard]] std::vector<std::string> auffaellig() const {
    std::vector<std::string> namen;
    for (const Befund& befund : pruefe())
      if (befund.art != Befundart::hinweis)
        namen.push_back(std::string(befundName(befund.art)) + " " + befund.datei);
    return namen;
  }
  // The files of the findings that a repair is said to put right, each once.
  [[nodiscard]] std::set<std::string> reparierbar() const {
    std::set<std::string> namen;
    for (const Befund& befund : pruefe())
      if (befund.reparierbar) namen.insert(befund.datei);
    return namen;
  }

 private:
  TempOrdner ordner_;
};

inline void vier(Bytes& ziel, std::uint32_t wert) {
  for (const int stelle : {24, 16, 8, 0})
    ziel.push_back(static_cast<std::uint8_t>(wert >> stelle));
}

// A box with the content that `fuelle` appends.
inline void kasten(Bytes& ziel, std::string_view name, const std::function<void()>& fuelle) {
  const std::size_t anfang = ziel.size();
  vier(ziel, 0);
  for (const char zeichen : name)
    ziel.push_back(static_cast<std::uint8_t>(zeichen));
  fuelle();
  const std::size_t laenge = ziel.size() - anfang;
  for (std::size_t i = 0; i < 4; ++i)
    ziel[anfang + i] = static_cast<std::uint8_t>(laenge >> (24 - 8 * i));
}

inline constexpr std::string_view SPUR_LIBAV = "VideoHandler";
inline constexpr std::string_view SPUR_MACOS = "Core Media Video";

inline void worte(Bytes& ziel, std::string_view text) {
  ziel.insert(ziel.end(), text.begin(), text.end());
}

// The head of a video: an ordinary one with so many pictures, or one of fragments. It measures in
// milliseconds; a duration of 0 says nothing.
inline void mp4Kopf(Bytes& ziel, std::uint32_t bilder, bool fragmente, std::uint32_t dauerMs = 0,
                    std::string_view spur = SPUR_LIBAV) {
  kasten(ziel, "moov", [&] {
    kasten(ziel, "trak", [&] {
      kasten(ziel, "mdia", [&] {
        kasten(ziel, "mdhd", [&] {
          for (const std::uint32_t wert : {0U, 0U, 0U, 1000U, dauerMs, 0U})
            vier(ziel, wert);
        });
        kasten(ziel, "hdlr", [&] {
          vier(ziel, 0);
          vier(ziel, 0);
          worte(ziel, "vide");
          for (int i = 0; i < 3; ++i)
            vier(ziel, 0);
          worte(ziel, spur);
          ziel.push_back(0);
        });
        kasten(ziel, "minf", [&] {
          kasten(ziel, "stbl", [&] {
            kasten(ziel, "stsz", [&] {
              vier(ziel, 0);
              vier(ziel, 0);
              vier(ziel, bilder);
            });
          });
        });
      });
    });
    if (fragmente) kasten(ziel, "mvex", [] {});
  });
}

// Pictures from `abMs` on, each of `jeMs`; or each of its own duration.
inline void mp4Fragment(Bytes& ziel, std::uint32_t bilder, std::uint32_t abMs = 0,
                        std::uint32_t jeMs = 0, const std::vector<std::uint32_t>& eigene = {}) {
  constexpr std::uint32_t DAUER_FUER_ALLE = 0x8;
  constexpr std::uint32_t STELLE_DAUER_UND_GROESSE = 0x301;
  kasten(ziel, "moof", [&] {
    kasten(ziel, "traf", [&] {
      kasten(ziel, "tfhd", [&] {
        for (const std::uint32_t wert : {DAUER_FUER_ALLE, 1U, jeMs})
          vier(ziel, wert);
      });
      kasten(ziel, "tfdt", [&] {
        vier(ziel, 0);
        vier(ziel, abMs);
      });
      kasten(ziel, "trun", [&] {
        vier(ziel, eigene.empty() ? 0 : STELLE_DAUER_UND_GROESSE);
        vier(ziel, bilder);
        if (!eigene.empty()) vier(ziel, 0);
        for (const std::uint32_t dauer : eigene) {
          vier(ziel, dauer);
          vier(ziel, 1);
        }
      });
    });
  });
  kasten(ziel, "mdat", [&] { ziel.insert(ziel.end(), 50, 1); });
}

inline Bytes mp4Anfang() {
  Bytes ziel;
  kasten(ziel, "ftyp", [&] { vier(ziel, 0x69736F6D); });
  return ziel;
}

}  // namespace hallkorb
