// The base of the tests of the continuous file: one that takes its time and its files from the
// test.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "audiofiles/RohWav.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/FehlerDateien.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/WavBytes.h"

namespace hallkorb {

inline constexpr std::int64_t RATE = 16000;

// A second of samples, never zero, different in each second.
inline std::vector<float> sekunde(int nummer) {
  std::vector<float> samples(RATE);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] =
        0.1F + 0.05F * static_cast<float>(nummer) + 0.00004F * static_cast<float>(i % 1000);
  }
  return samples;
}

class RohWavTest : public testing::Test {
 protected:
  std::unique_ptr<RohWav> oeffne() {
    return RohWav::oeffne(pfad, RATE, dateien, [this] { return jetzt; });
  }
  [[nodiscard]] std::uint32_t erklaert() const {
    std::vector<std::uint8_t> kopf(WAV_KOPF_BYTES);
    std::ifstream datei(pfad, std::ios::binary);
    datei.read(reinterpret_cast<char*>(kopf.data()), std::ssize(kopf));
    EXPECT_EQ(feld32(kopf, 4), feld32(kopf, 40) + 36);
    return feld32(kopf, 40);
  }
  [[nodiscard]] std::size_t gehalten() const { return std::filesystem::file_size(pfad) - 44; }

  TempOrdner ordner;
  std::string pfad = ordner / "mikro_roh.wav";
  FehlerDateien dateien;
  double jetzt = 1000.0;
  AusgabeFaenger ausgabe;
};

}  // namespace hallkorb
