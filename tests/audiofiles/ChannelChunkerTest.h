// The base of the tests of the chunker: its settings, its two modes, and sound by the sample.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {

inline constexpr double RATE = 16000.0;
inline constexpr float LAUT = 0.5F;
inline constexpr float LEISE = 0.001F;

// The settings of a live recording; each test changes what it is about.
inline ChunkerEinstellung einstellung(const std::string& ordner, bool rede) {
  return {.channel = "me",
          .outDir = ordner,
          .rate = RATE,
          .chunkSeconds = 25.0,
          .turnMode = rede,
          .minSeconds = 1.2,
          .maxSeconds = 4.0,
          .silenceSeconds = 0.6,
          .silenceRms = 0.006F};
}

class ChannelChunkerTest : public testing::Test {
 protected:
  std::unique_ptr<ChannelChunker> fest(double chunkSeconds) {
    auto e = einstellung(ordner.pfad(), false);
    e.channel = "them";
    e.chunkSeconds = chunkSeconds;
    return std::make_unique<ChannelChunker>(e, dateien);
  }
  std::unique_ptr<ChannelChunker> rede(float silenceRms = 0.006F, double maxSeconds = 4.0) {
    auto e = einstellung(ordner.pfad(), true);
    e.maxSeconds = maxSeconds;
    e.silenceRms = silenceRms;
    return std::make_unique<ChannelChunker>(e, dateien);
  }
  [[nodiscard]] std::string zeile(int i, const std::string& kanal, const std::string& rest) const {
    const std::string nummer = std::to_string(i);
    return R"({"chunk":)" + nummer + R"(,"channel":")" + kanal + R"(","path":")" +
           (ordner / ("chunk_" + kanal + "_00" + nummer + ".wav")) + R"(",)" + rest + "}";
  }
  [[nodiscard]] std::size_t samplesIn(const std::string& name) const {
    return (dateiBytes(ordner / name).size() - 44) / 2;
  }

  TempOrdner ordner;
  FehlerDateien dateien;
  AusgabeFaenger ausgabe;
};

inline std::vector<float> ton(std::size_t anzahl, float wert = LAUT) {
  return std::vector<float>(anzahl, wert);
}

inline void setze(std::vector<float>& samples, std::size_t von, std::size_t bis, float wert) {
  std::fill(samples.begin() + static_cast<std::ptrdiff_t>(von),
            samples.begin() + static_cast<std::ptrdiff_t>(bis), wert);
}

}  // namespace hallkorb
