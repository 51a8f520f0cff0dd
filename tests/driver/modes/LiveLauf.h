// What the tests of the live recording share: a run on a simulated platform, and what it left
// behind.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "audiofiles/Wav.h"
#include "driver/modes/LiveAufnahme.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {

class LiveLauf : public testing::Test {
 protected:
  LiveLauf() {
    config.outDir = ordner.pfad();
    config.video = false;
    config.echo = false;
  }

  int laufe(sim::SimPlattform& welt) { return LiveAufnahme(config, welt).laufe(); }

  // The samples of all chunks of a channel, each at its t0; silence between them. The lines give
  // hundredths of a second: a chunk that begins, to that precision, where the last one ended joins
  // it.
  std::vector<float> ausChunks(const std::string& kanal) const {
    return ausChunks(kanal, faenger.ausgabeZeilen());
  }
  std::vector<float> ausChunks(const std::string& kanal,
                               const std::vector<std::string>& zeilen) const {
    std::vector<float> strom;
    for (const std::string& zeile : zeilen) {
      int nummer = 0;
      char name[8] = {};
      char pfad[400] = {};
      double t0 = 0;
      double t1 = 0;
      if (std::sscanf(zeile.c_str(),
                      R"({"chunk":%d,"channel":"%7[a-z]","path":"%399[^"]","t0":%lf,"t1":%lf)",
                      &nummer, name, pfad, &t0, &t1) != 5 ||
          name != kanal) {
        continue;
      }
      const auto samples = liesWav(pfad);
      EXPECT_TRUE(samples) << pfad;
      if (!samples) continue;
      auto stelle = static_cast<std::size_t>(std::lround(t0 * config.sampleRate));
      if (std::abs(t0 * config.sampleRate - static_cast<double>(strom.size())) <= 160) {
        stelle = strom.size();
      }
      strom.resize(std::max(strom.size(), stelle + samples->size()));
      std::copy(samples->begin(), samples->end(),
                strom.begin() + static_cast<std::ptrdiff_t>(stelle));
    }
    return strom;
  }

  // The events of standard output, chunk lines as "chunk me" and "chunk them".
  std::vector<std::string> ereignisse() const {
    std::vector<std::string> alle;
    for (const std::string& zeile : faenger.ausgabeZeilen()) {
      char wort[20] = {};
      if (std::sscanf(zeile.c_str(), R"({"event":"%19[a-z_])", wort) == 1) {
        alle.emplace_back(wort);
      } else {
        alle.emplace_back(zeile.find(R"("channel":"me")") != std::string::npos ? "chunk me"
                                                                               : "chunk them");
      }
    }
    return alle;
  }

  TempOrdner ordner;
  AusgabeFaenger faenger;
  Config config;
};

}  // namespace hallkorb
