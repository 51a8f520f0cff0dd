// Hours on the virtual clock: two devices whose clocks drift apart, that drop out, go away, come
// back and change their format, and a meeting window that changes, for a quarter of an hour, or
// with HALLKORB_LANG=1 for twelve.
//
// The blocks take a recording's whole way: behind each device the stage that brings it onto the
// host's clock, then the recorder. What is heard says when it was heard (a wave of one second), so
// every sample of chunks and raw file can be compared with the time that its place stands for.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "audiofiles/Wav.h"
#include "driver/modes/LiveAufnahme.h"
#include "platform/clock/Hosttakt.h"
#include "platform/linux/Deskriptor.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Fortschrittszeile.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

constexpr double RATE = 16000.0;
constexpr double GENAU = 0.005 + 1.5 / RATE;  // the promise, and the rounding to whole samples
constexpr double BLOCK = 0.1;                 // seconds
constexpr double AUSFALL_ALLE = 97.0;
constexpr double WARM = 30.0;
constexpr double WECHSEL_ALLE = 240.0;
constexpr double FENSTER_ALLE = 45.0;
constexpr double MESSEN_ALLE = 60.0;

double seit(double t) {
  return t - std::floor(t);
}

// A wave of straight lines: no jump, whose neighbourhood a resampler would change.
float welle(double t) {
  return static_cast<float>(0.6 - 0.5 * std::abs(2 * seit(t) - 1));
}

// Seconds by which a sample's content differs from the time of its place, up or down the wave.
double abweichung(float wert, double platz) {
  const double auf = std::clamp((static_cast<double>(wert) - 0.1) / 0.5, 0.0, 1.0) / 2;
  double kleinste = 1.0;
  for (const double gehoert : {auf, 1.0 - auf}) {
    const double unterschied = std::abs(gehoert - seit(platz));
    kleinste = std::min({kleinste, unterschied, 1.0 - unterschied});
  }
  return kleinste;
}

// A device whose clock is fast by so many millionths, and what follows it.
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
      ++ausfaelle;
      return sim::Geraet::Schritt{t_, [this](AudioInputListener& hoerer) {
                                    hosttakt_.leere();
                                    hoerer.unterbrochen({"sim", 32, "Verbindung verloren"});
                                    hoerer.fortgesetzt();
                                  }};
    }
    // The first minute has both.
    const bool breit = t_ < WARM || static_cast<int>(t_ / WECHSEL_ALLE) % 2 == 1;
    const PcmFormat format = breit ? PcmFormat{48000.0, 2, true} : PcmFormat{RATE, 1, true};
    const auto frames = static_cast<std::uint32_t>(std::lround(format.rate * BLOCK));
    const double von = t_;
    t_ += BLOCK / takt_;
    return sim::Geraet::Schritt{t_, [this, von, format, frames](AudioInputListener& hoerer) {
                                  spiele(von, format, frames, hoerer);
                                }};
  }

  double verloren = 0;         // seconds
  std::int64_t ausfaelle = 0;  // in which they were

 private:
  void spiele(double von, const PcmFormat& format, std::uint32_t frames,
              AudioInputListener& hoerer) {
    samples_.resize(std::size_t{frames} * format.channels);
    for (std::size_t i = 0; i < samples_.size(); ++i) {
      const std::size_t frame = i / format.channels;
      samples_[i] = welle(von + static_cast<double>(frame) / (format.rate * takt_));
    }
    hoerer_ = &hoerer;
    hosttakt_.nimm({format, frames, samples_, sim::NULLZEIT + von});
    if (t_ > bis_) hosttakt_.leere();
  }

  std::mt19937 zufall_{7};
  double takt_;
  double bis_;
  double t_ = 0.05;
  double naechsterAusfall_ = 60.0;
  std::vector<float> samples_;
  AudioInputListener* hoerer_ = nullptr;
  Hosttakt hosttakt_{[this](const PcmBlock& block) { hoerer_->block(block); }};
};

// From `ab` on, again and again; only the next time is ever kept.
void jede(sim::SimPlattform& welt, double ab, double alle, double bis,
          const std::function<void()>& tat) {
  if (ab >= bis) return;
  welt.am(ab, [=, &welt] {
    tat();
    jede(welt, ab + alle, alle, bis, tat);
  });
}

std::size_t eintraege(const char* ordner) {
  const std::filesystem::directory_iterator alle(ordner);
  return static_cast<std::size_t>(std::distance(begin(alle), end(alle)));
}

struct Fall {
  // The microphone's clock is slow by so many millionths, the other one fast by three quarters of
  // that. Eighty is what cheap devices have.
  int ppm;
  bool echo;
};

std::string benenne(const testing::TestParamInfo<Fall>& info) {
  return std::to_string(info.param.ppm) + (info.param.echo ? "ppmEcho" : "ppm");
}

// What "zeitachse" says of a channel.
struct Zaehler {
  std::int64_t luecken = 0;
  double lueckenMs = 0;
  std::int64_t ueberlappungen = 0;
  double verworfenMs = 0;
};

class DauerlaufTest : public testing::TestWithParam<Fall> {
 protected:
  struct Kanal {
    // At the edge of a stream the filters have half of their samples only. So what counts lasts for
    // three milliseconds: the smallest deviation of so many samples in a row.
    void merke(double abweichung) {
      std::rotate(letzte.begin(), letzte.begin() + 1, letzte.end());
      letzte.back() = abweichung;
      groesste = std::max(groesste, *std::min_element(letzte.begin(), letzte.end()));
    }

    std::int64_t bisher = 0;  // samples of all chunks
    double groesste = 0;      // the largest deviation
    std::array<double, 4> letzte{};
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
      const auto samples = liesWav(pfad);
      ASSERT_TRUE(samples) << pfad;
      // The echo path changes what "me" holds, and drops what is no speech: its times are those of
      // the raw file.
      if (!GetParam().echo || std::string(name) != "me") {
        Kanal& kanal = kanaele[name];
        ASSERT_NEAR(t0, static_cast<double>(kanal.bisher) / RATE, 0.0051) << zeilen[gelesen];
        ASSERT_NO_FATAL_FAILURE(pruefe(*samples, kanal)) << pfad;
      }
      std::filesystem::remove(pfad);
      ++chunks;
    }
  }

  void pruefe(std::span<const float> samples, Kanal& kanal) const {
    for (std::size_t i = 0; i < samples.size(); i += 13) {
      if (samples[i] == 0) continue;  // a gap
      const double platz = static_cast<double>(kanal.bisher + static_cast<std::int64_t>(i)) / RATE;
      kanal.merke(abweichung(samples[i], platz));
    }
    kanal.bisher += static_cast<std::int64_t>(samples.size());
    ASSERT_LE(kanal.groesste, GENAU) << "before sample " << kanal.bisher;
  }

  // The same for what the raw file has got since. Its space on the disk is given back: twelve hours
  // would be 1.4 GB.
  void pruefeRoh() {
    const Deskriptor datei(::open((ordner / "mikro_roh.wav").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_GE(datei.fd(), 0);
    const auto ab = static_cast<off_t>(WAV_KOPF_BYTES) + 2 * roh.bisher;
    std::vector<std::int16_t> werte(std::size_t{1} << 20U);
    const ssize_t bytes = ::pread(datei.fd(), werte.data(), 2 * werte.size(), ab);
    ASSERT_GE(bytes, 0);
    std::vector<float> samples;
    for (std::size_t i = 0; i < static_cast<std::size_t>(bytes) / 2; ++i)
      samples.push_back(static_cast<float>(werte[i]) / 32767.0F);
    ASSERT_NO_FATAL_FAILURE(pruefe(samples, roh)) << "in the raw file";
    ::fallocate(datei.fd(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, ab, bytes);
  }

  void miss() {
    if (!HasFatalFailure()) pruefeChunks();
    if (!HasFatalFailure()) pruefeRoh();
    staende.push_back(speicherwacht::belegt());
    fortschritt.zeige(staende.size());
    deskriptoren.push_back(eintraege("/proc/self/fd"));
    faeden.push_back(eintraege("/proc/self/task"));
  }

  [[nodiscard]] Zaehler zaehler(const std::string& kanal) const {
    const std::string text = faenger.ausgabe();
    Zaehler z;
    const std::size_t stelle = text.find("\"" + kanal + "\":{\"luecken\":");
    EXPECT_EQ(std::sscanf(text.c_str() + stelle + kanal.size() + 3,
                          R"({"luecken":%)" SCNd64 R"(,"luecken_ms":%lf,"ueberlappungen":%)" SCNd64
                          R"(,"verworfen_ms":%lf})",
                          &z.luecken, &z.lueckenMs, &z.ueberlappungen, &z.verworfenMs),
              4);
    return z;
  }

  [[nodiscard]] std::int64_t ereignisse(const std::string& name) const {
    const auto zeilen = faenger.ausgabeZeilen();
    return std::count_if(zeilen.begin(), zeilen.end(), [&](const std::string& zeile) {
      return zeile.starts_with(R"({"event":")" + name + "\"");
    });
  }

  // Each dropout is one gap of its own length, and nothing else is.
  void pruefeZaehler(const std::string& kanal, const Quelle& quelle) const {
    const Zaehler z = zaehler(kanal);
    EXPECT_EQ(z.luecken, quelle.ausfaelle) << kanal;
    EXPECT_NEAR(z.lueckenMs, 1000 * quelle.verloren, 1.0 * static_cast<double>(quelle.ausfaelle));
    EXPECT_EQ(z.ueberlappungen, 0) << kanal;
    EXPECT_EQ(z.verworfenMs, 0) << kanal;
  }

  // Flat from the first minute on, and at the end as at the beginning. Blocks, chunks and lines
  // come and go; a leak of one sample in a thousand would be more in twelve hours.
  void pruefeSpeicher() const {
    const auto [kleinster, groesster] = std::minmax_element(staende.begin(), staende.end());
    EXPECT_LE(*groesster - *kleinster, std::size_t{1} << 20U);
    const auto teil = static_cast<std::ptrdiff_t>(std::min<std::size_t>(60, staende.size() / 3));
    const auto zuerst = *std::max_element(staende.begin(), staende.begin() + teil);
    const auto zuletzt = *std::max_element(staende.end() - teil, staende.end());
    EXPECT_LE(zuletzt, zuerst + (std::size_t{1} << 18U));
  }

  TempOrdner ordner;
  AusgabeFaenger faenger;
  Fortschrittszeile fortschritt{720, "minutes"};
  std::size_t gelesen = 0;
  std::size_t chunks = 0;
  std::map<std::string, Kanal> kanaele;
  Kanal roh;
  std::vector<std::size_t> staende;  // of the memory
  std::vector<std::size_t> deskriptoren;
  std::vector<std::size_t> faeden;
};

TEST_P(DauerlaufTest, TheTimelineHoldsAndNothingGrows) {
  const double stunden = std::getenv("HALLKORB_LANG") != nullptr ? 12.0 : 0.25;
  const double ende = stunden * 3600.0;
  const auto messungen = static_cast<std::size_t>(ende / MESSEN_ALLE);
  staende.reserve(messungen);
  deskriptoren.reserve(messungen);
  faeden.reserve(messungen);
  const double versatz = GetParam().ppm * 1e-6;
  Config config;
  config.outDir = ordner.pfad();
  config.echo = GetParam().echo;
  sim::SimPlattform welt;
  const auto mikrofon = std::make_shared<Quelle>(-versatz, ende);
  const auto system = std::make_shared<Quelle>(versatz * 0.75, ende);
  welt.mikrofonGeraet.weitere = [mikrofon] { return (*mikrofon)(); };
  welt.systemGeraet.weitere = [system] { return (*system)(); };
  const auto zoom = sim::fenster(4, "us.zoom.xos", "Zoom Meeting");
  const auto teams = sim::fenster(5, "com.microsoft.teams2", "Besprechung | Microsoft Teams");
  welt.bildschirm.windows = {zoom};
  std::int64_t wechsel = 0;
  jede(welt, FENSTER_ALLE, FENSTER_ALLE, ende - FENSTER_ALLE,
       [&] { welt.bildschirm.windows = {++wechsel % 2 == 0 ? zoom : teams}; });
  jede(welt, MESSEN_ALLE, MESSEN_ALLE, ende, [&] {
    welt.bildschirm.aufrufe.clear();  // the simulation's own records
    for (sim::Film& film : welt.bildschirm.filme)
      film.bilder.clear();
    miss();
  });
  welt.signal(ende, SIGINT);
  ASSERT_EQ(LiveAufnahme(config, welt).laufe(), 0);
  pruefeChunks();
  pruefeRoh();

  EXPECT_EQ(faenger.ausgabeZeilen().back(), R"({"event":"done"})");
  pruefeSpeicher();
  EXPECT_EQ(std::count(deskriptoren.begin(), deskriptoren.end(), deskriptoren[0]),
            std::ssize(deskriptoren));
  EXPECT_EQ(std::count(faeden.begin(), faeden.end(), faeden[0]), std::ssize(faeden));
  pruefeZaehler("me", *mikrofon);
  pruefeZaehler("them", *system);
  EXPECT_EQ(ereignisse("video_wechsel"), wechsel);
  EXPECT_EQ(ereignisse("video"), 1);
  for (const auto& [name, kanal] : kanaele)
    EXPECT_NEAR(static_cast<double>(kanal.bisher) / RATE, ende, 0.2) << name;
  EXPECT_NEAR(static_cast<double>(roh.bisher) / RATE, ende, 0.2);

  double abweichungMs = 1000 * roh.groesste;
  for (const auto& [name, kanal] : kanaele)
    abweichungMs = std::max(abweichungMs, 1000 * kanal.groesste);
  const auto [kleinster, groesster] = std::minmax_element(staende.begin(), staende.end());
  const auto schwankt = (*groesster - *kleinster) / 1024;
  RecordProperty("stunden", std::to_string(stunden));
  RecordProperty("chunks", static_cast<int>(chunks));
  RecordProperty("wechsel", static_cast<int>(wechsel));
  RecordProperty("abweichung_us", static_cast<int>(1000 * abweichungMs));
  RecordProperty("speicher_schwankt_kib", static_cast<int>(schwankt));
  std::printf(
      "%d ppm%s, %.2f hours, %zu chunks, at most %.2f ms off; memory moves by %zu KiB, %zu "
      "descriptors, %zu threads\n",
      GetParam().ppm, GetParam().echo ? " with an echo path" : "", stunden, chunks, abweichungMs,
      schwankt, deskriptoren[0], faeden[0]);
}

INSTANTIATE_TEST_SUITE_P(Faelle, DauerlaufTest,
                         testing::Values(Fall{2, false}, Fall{80, false}, Fall{80, true}), benenne);

}  // namespace
}  // namespace hallkorb
