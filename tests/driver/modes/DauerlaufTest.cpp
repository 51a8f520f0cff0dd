// Hours on the virtual clock: two devices whose clocks drift apart, that drop out, go away, come
// back and change their format, for a quarter of an hour, or with HALLKORB_LANG=1 for twelve.
//
// What is heard says when it was heard (a ramp of one second), so every sample of every chunk can
// be compared with the time that its place in the channel stands for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "audiofiles/Wav.h"
#include "driver/modes/LiveAufnahme.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

constexpr double RATE = 16000.0;
constexpr double GENAU = 0.005 + 1.5 / RATE;  // the promise, and the rounding to whole samples
// Each correction is rounded to whole samples. Those of a clock that nothing steers are alike, and
// so are their roundings.
constexpr double UNGESTEUERT = 0.0005;
constexpr double UNGESTEUERT_JE_STUNDE = 0.00025;
constexpr double BLOCK = 0.1;  // seconds
constexpr double AUSFALL_ALLE = 97.0;
constexpr double WECHSEL_ALLE = 240.0;

double seit(double t) {
  return t - std::floor(t);
}

float rampe(double t) {
  return static_cast<float>(0.1 + 0.5 * seit(t));
}

// Seconds by which a sample's content differs from the time of its place.
double abweichung(float wert, double platz) {
  const double gehoert = (static_cast<double>(wert) - 0.1) / 0.5;
  const double unterschied = std::abs(gehoert - seit(platz));
  return std::min(unterschied, 1.0 - unterschied);
}

// A device whose clock is fast by so many millionths.
class Quelle {
 public:
  Quelle(double versatz, double bis) : takt_(1 + versatz), bis_(bis) {}

  std::optional<sim::Geraet::Schritt> operator()() {
    if (t_ > bis_) return std::nullopt;
    if (t_ > naechsterAusfall_) {
      naechsterAusfall_ += AUSFALL_ALLE;
      const double ausfall = std::uniform_real_distribution<double>(0.2, 0.5)(zufall_);
      t_ += ausfall;
      verloren += ausfall;
      return sim::Geraet::Schritt{t_, [](AudioInputListener& hoerer) {
                                    hoerer.unterbrochen({"sim", 32, "Verbindung verloren"});
                                    hoerer.fortgesetzt();
                                  }};
    }
    const bool breit = static_cast<int>(t_ / WECHSEL_ALLE) % 2 == 1;
    const PcmFormat format = breit ? PcmFormat{48000.0, 2, true} : PcmFormat{RATE, 1, true};
    const auto frames = static_cast<std::uint32_t>(std::lround(format.rate * BLOCK));
    const double von = t_;
    t_ += BLOCK / takt_;
    return sim::Geraet::Schritt{t_, [this, von, format, frames](AudioInputListener& hoerer) {
                                  spiele(von, format, frames, hoerer);
                                }};
  }

  double verloren = 0;  // seconds

 private:
  void spiele(double von, const PcmFormat& format, std::uint32_t frames,
              AudioInputListener& hoerer) {
    samples_.resize(std::size_t{frames} * format.channels);
    for (std::size_t i = 0; i < samples_.size(); ++i) {
      const std::size_t frame = i / format.channels;
      samples_[i] = rampe(von + static_cast<double>(frame) / (format.rate * takt_));
    }
    hoerer.block({format, frames, samples_, sim::NULLZEIT + von});
  }

  std::mt19937 zufall_{7};
  double takt_;
  double bis_;
  double t_ = 0.05;
  double naechsterAusfall_ = 60.0;
  std::vector<float> samples_;
};

std::size_t eintraege(const char* ordner) {
  const std::filesystem::directory_iterator alle(ordner);
  return static_cast<std::size_t>(std::distance(begin(alle), end(alle)));
}

// The microphone's clock is slow by so many millionths, the other one fast by three quarters of
// that. Two is what the platform's follower of device clocks leaves, eighty what cheap devices
// have.
class DauerlaufTest : public testing::TestWithParam<int> {
 protected:
  struct Kanal {
    std::int64_t bisher = 0;  // samples of all chunks
    double groesste = 0;      // the largest deviation
  };

  // Compares the chunks that were announced since the last call, and removes them.
  void pruefeChunks() {
    const auto zeilen = faenger.ausgabeZeilen();
    for (; gelesen < zeilen.size(); ++gelesen) {
      int nummer = 0;
      char name[8] = {};
      char pfad[400] = {};
      double t0 = 0;
      if (std::sscanf(zeilen[gelesen].c_str(),
                      R"({"chunk":%d,"channel":"%7[a-z]","path":"%399[^"]","t0":%lf)", &nummer,
                      name, pfad, &t0) != 4) {
        continue;
      }
      Kanal& kanal = kanaele[name];
      ASSERT_NEAR(t0, static_cast<double>(kanal.bisher) / RATE, 0.0051) << zeilen[gelesen];
      ASSERT_NO_FATAL_FAILURE(pruefe(pfad, kanal));
      std::filesystem::remove(pfad);
      ++chunks;
    }
  }

  void pruefe(const std::string& pfad, Kanal& kanal) const {
    const auto samples = liesWav(pfad);
    ASSERT_TRUE(samples) << pfad;
    for (std::size_t i = 0; i < samples->size(); i += 13) {
      if ((*samples)[i] == 0) continue;  // a gap
      const double platz = static_cast<double>(kanal.bisher + static_cast<std::int64_t>(i)) / RATE;
      kanal.groesste = std::max(kanal.groesste, abweichung((*samples)[i], platz));
    }
    kanal.bisher += static_cast<std::int64_t>(samples->size());
    ASSERT_LE(kanal.groesste, genau) << pfad;
  }

  void miss() {
    if (!HasFatalFailure()) pruefeChunks();
    const std::size_t jetzt = speicherwacht::belegt();
    kleinster = std::min(kleinster, jetzt);
    groesster = std::max(groesster, jetzt);
    deskriptoren.push_back(eintraege("/proc/self/fd"));
    faeden.push_back(eintraege("/proc/self/task"));
  }

  // "luecken_ms" less "verworfen_ms" of a channel.
  [[nodiscard]] double eingefuegt(const std::string& kanal) const {
    const std::string text = faenger.ausgabe();
    double luecken = 0;
    double verworfen = 0;
    const std::size_t stelle = text.find("\"" + kanal + "\":{\"luecken\":");
    EXPECT_EQ(
        std::sscanf(text.c_str() + stelle + kanal.size() + 3,
                    R"({"luecken":%*d,"luecken_ms":%lf,"ueberlappungen":%*d,"verworfen_ms":%lf})",
                    &luecken, &verworfen),
        2);
    return (luecken - verworfen) / 1000;
  }

  double genau = GENAU;
  TempOrdner ordner;
  AusgabeFaenger faenger;
  std::size_t gelesen = 0;
  std::size_t chunks = 0;
  std::map<std::string, Kanal> kanaele;
  std::size_t kleinster = std::numeric_limits<std::size_t>::max();
  std::size_t groesster = 0;
  std::vector<std::size_t> deskriptoren;
  std::vector<std::size_t> faeden;
};

TEST_P(DauerlaufTest, TheTimelineHoldsAndNothingGrows) {
  const double stunden = std::getenv("HALLKORB_LANG") != nullptr ? 12.0 : 0.25;
  const double ende = stunden * 3600.0;
  const double versatz = GetParam() * 1e-6;
  if (GetParam() > 2) genau += UNGESTEUERT + stunden * UNGESTEUERT_JE_STUNDE;
  Config config;
  config.outDir = ordner.pfad();
  config.video = false;
  config.echo = false;
  sim::SimPlattform welt;
  const auto mikrofon = std::make_shared<Quelle>(-versatz, ende);
  const auto system = std::make_shared<Quelle>(versatz * 0.75, ende);
  welt.mikrofonGeraet.weitere = [mikrofon] { return (*mikrofon)(); };
  welt.systemGeraet.weitere = [system] { return (*system)(); };
  for (double t = 300.0; t < ende; t += 60.0)
    welt.am(t, [this] { miss(); });
  welt.signal(ende, SIGINT);
  ASSERT_EQ(LiveAufnahme(config, welt).laufe(), 0);
  pruefeChunks();

  EXPECT_EQ(faenger.ausgabeZeilen().back(), R"({"event":"done"})");
  // Blocks, chunks and lines come and go; a leak of one sample in a thousand would be more.
  EXPECT_LE(groesster - kleinster, std::size_t{1} << 20U);
  EXPECT_EQ(std::count(deskriptoren.begin(), deskriptoren.end(), deskriptoren[0]),
            std::ssize(deskriptoren));
  EXPECT_EQ(std::count(faeden.begin(), faeden.end(), faeden[0]), std::ssize(faeden));
  EXPECT_NEAR(eingefuegt("me"), mikrofon->verloren + ende * versatz, 0.03);
  EXPECT_NEAR(eingefuegt("them"), system->verloren - ende * versatz * 0.75, 0.03);
  for (const auto& [name, kanal] : kanaele)
    EXPECT_NEAR(static_cast<double>(kanal.bisher) / RATE, ende, 0.2) << name;

  const double abweichungMs = 1000 * std::max(kanaele["me"].groesste, kanaele["them"].groesste);
  RecordProperty("stunden", std::to_string(stunden));
  RecordProperty("chunks", static_cast<int>(chunks));
  RecordProperty("abweichung_us", static_cast<int>(1000 * abweichungMs));
  RecordProperty("speicher_schwankt_kib", static_cast<int>((groesster - kleinster) / 1024));
  std::printf(
      "%d ppm, %.2f hours, %zu chunks, at most %.2f ms off; memory moves by %zu KiB, %zu "
      "descriptors, "
      "%zu threads\n",
      GetParam(), stunden, chunks, abweichungMs, (groesster - kleinster) / 1024, deskriptoren[0],
      faeden[0]);
}

INSTANTIATE_TEST_SUITE_P(Millionths, DauerlaufTest, testing::Values(2, 80));

}  // namespace
}  // namespace hallkorb
