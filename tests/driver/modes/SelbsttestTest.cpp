// The self-test's lines against a second computation: the same synthetic recordings and the
// platform's resampler, but placed and measured in other ways.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "driver/modes/Selbsttest.h"
#include "platform/linux/audio/SwrKonverter.h"
#include "tests/support/AusgabeFaenger.h"

namespace hallkorb {
namespace {

// The platform's converter. What comes out of it may be changed: `verformt` gets the samples of
// each block, and the index of the first one in the output of the case.
class Swr final : public AudioConverterFactory {
 public:
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat, double rate) override {
    formate.push_back(quellformat);
    return std::make_unique<Verformt>(*this, SwrKonverter::neu(quellformat, rate));
  }

  std::vector<PcmFormat> formate;
  std::function<void(std::vector<float>&, std::int64_t)> verformt = [](auto&, auto) {};

 private:
  static constexpr std::int64_t VERSATZ = 4800;  // the timeline's silence before the first block

  class Verformt final : public AudioConverter {
   public:
    Verformt(const Swr& fabrik, std::unique_ptr<AudioConverter> echt)
        : fabrik_(fabrik), echt_(std::move(echt)) {}
    Umwandlung wandle(const PcmBlock& block, std::size_t kapazitaet,
                      std::vector<float>& ausgabe) override {
      auto umwandlung = echt_->wandle(block, kapazitaet, ausgabe);
      const auto anzahl = std::ssize(ausgabe);
      fabrik_.verformt(ausgabe, stelle_);
      stelle_ += anzahl;
      return umwandlung;
    }

   private:
    const Swr& fabrik_;
    std::unique_ptr<AudioConverter> echt_;
    std::int64_t stelle_ = VERSATZ;
  };
};

struct Messung {
  std::vector<double> y;
  int luecken = 0;
  double lueckenSamples = 0;
  int ueberlappungen = 0;
  double verworfen = 0;
};

// A block goes to the place of its time if that is more than 5 ms from the end of the last one, and
// otherwise follows it; a gap stays silent, and of two blocks for the same time the first one
// stays.
Messung nachgerechnet(const Testfall& f) {
  Messung m;
  const auto konverter = SwrKonverter::neu({48000.0, 1, true}, 16000.0);
  double soll = -1;
  for (std::int64_t b = 0; b < f.puffer; ++b) {
    if (f.auslassen.count(b) != 0) continue;
    std::vector<float> ein(static_cast<std::size_t>(f.frames));
    for (std::int64_t i = 0; i < f.frames; ++i) {
      const double n = static_cast<double>(b * f.frames + i);
      ein[static_cast<std::size_t>(i)] =
          static_cast<float>(0.5 * std::sin(1884.9555921538758 * n / 48000));
    }
    std::vector<float> aus;
    EXPECT_TRUE(
        konverter
            ->wandle({{48000.0, 1, true}, static_cast<std::uint32_t>(f.frames), ein, std::nullopt},
                     10000, aus)
            .gelungen);
    const double pos =
        16000.0 * (1000.3 + (1 + f.drift) * (static_cast<double>(b * f.frames) / 48000) - 1000.0);
    if (soll < 0) {
      m.y.assign(static_cast<std::size_t>(std::lround(pos)), 0.0);
      soll = pos;
    } else if (pos - soll > 80) {
      const auto fehlt = std::lround(pos - soll);
      m.y.insert(m.y.end(), static_cast<std::size_t>(fehlt), 0.0);
      m.luecken += 1;
      m.lueckenSamples += static_cast<double>(fehlt);
      soll = pos;
    } else if (pos - soll < -80) {
      const auto doppelt = std::lround(soll - pos);
      aus.erase(aus.begin(), aus.begin() + doppelt);
      m.ueberlappungen += 1;
      m.verworfen += static_cast<double>(doppelt);
      soll = pos;
    }
    soll += static_cast<double>(f.frames) / 3;
    m.y.insert(m.y.end(), aus.begin(), aus.end());
  }
  return m;
}

double restDb(const std::vector<double>& y, std::size_t von, std::size_t bis, int lag,
              double drift) {
  double ry = 0;
  double rr = 0;
  double yy = 0;
  for (std::size_t n = von; n < bis; ++n) {
    const double t = ((static_cast<double>(n) - lag) / 16000 - 0.3) / (1 + drift);
    const double r = t < 0 ? 0 : std::sin(1884.9555921538758 * t);
    ry += r * y[n];
    rr += r * r;
    yy += y[n] * y[n];
  }
  const double rho = ry / std::max(std::sqrt(rr * yy), 1e-12);
  return 10 * std::log10(std::max(1 - rho * rho, 1e-12));
}

struct Zeile {
  char fall[40] = {};
  long long laenge = 0, soll = 0, luecken = 0, ueberlappungen = 0, nullen = 0, lag = 0;
  double lueckenMs = 0, verworfenMs = 0, anfangDb = 0, endeDb = 0;
};

Zeile lies(const std::string& text) {
  Zeile z;
  EXPECT_EQ(std::sscanf(text.c_str(),
                        R"({"fall":"%39[a-z_]","laenge":%lld,"soll_laenge":%lld,"luecken":%lld,)"
                        R"("luecken_ms":%lf,"ueberlappungen":%lld,"verworfen_ms":%lf,)"
                        R"("nullen":%lld,"laufzeit_samples":%lld,"rest_anfang_db":%lf,)"
                        R"("rest_ende_db":%lf})",
                        z.fall, &z.laenge, &z.soll, &z.luecken, &z.lueckenMs, &z.ueberlappungen,
                        &z.verworfenMs, &z.nullen, &z.lag, &z.anfangDb, &z.endeDb),
            11)
      << text;
  return z;
}

class SelbsttestTest : public testing::Test {
 protected:
  // Runs the case, compares every field with the other computation, and returns the line.
  Zeile pruefe(const Testfall& f) {
    const AusgabeFaenger faenger;
    const std::string text = fall(f, swr);
    const Zeile z = lies(text);
    const Messung m = nachgerechnet(f);
    EXPECT_EQ(z.fall, f.name);
    EXPECT_EQ(z.laenge, static_cast<long long>(m.y.size()));
    EXPECT_EQ(z.luecken, m.luecken);
    EXPECT_NEAR(z.lueckenMs, m.lueckenSamples / 16, 0.051);
    EXPECT_EQ(z.ueberlappungen, m.ueberlappungen);
    EXPECT_NEAR(z.verworfenMs, m.verworfen / 16, 0.051);
    int lag = -40;
    const std::size_t bis = std::min<std::size_t>(m.y.size(), 20800);
    for (int k = -40; k <= 40; ++k) {
      if (restDb(m.y, 5600, bis, k, f.drift) < restDb(m.y, 5600, bis, lag, f.drift)) lag = k;
    }
    EXPECT_EQ(z.lag, lag);
    EXPECT_NEAR(z.anfangDb, restDb(m.y, 5600, bis, lag, f.drift), 0.051);
    const std::size_t ende = m.y.size() - 2000;
    const std::size_t endeAb = m.y.size() - std::min<std::size_t>(m.y.size(), 10000);
    EXPECT_NEAR(z.endeDb, restDb(m.y, endeAb, ende, lag, f.drift), 0.051);
    long long nullen = 0;
    for (std::size_t n = 4900; n < ende; ++n)
      nullen += m.y[n] == 0;
    EXPECT_EQ(z.nullen, nullen);
    return z;
  }

  Swr swr;
};

TEST_F(SelbsttestTest, WithoutLossesNothingIsInsertedAndTheToneIsInPlace) {
  const Zeile z = pruefe({"mikro_lueckenlos", 4800, 1, 100, {}, 0.0});
  EXPECT_EQ(z.soll, 164800);
  EXPECT_GE(z.laenge, 164760);
  EXPECT_EQ(z.luecken, 0);
  EXPECT_EQ(z.nullen, 0);
  EXPECT_EQ(z.lag, 0);
  EXPECT_LT(z.anfangDb, -90);
  EXPECT_LT(z.endeDb, -90);
}

TEST_F(SelbsttestTest, AMissingBlockComesBackAsSilence) {
  const Zeile z = pruefe({"mikro_aussetzer", 4800, 1, 100, {50}, 0.0});
  EXPECT_EQ(z.luecken, 1);
  EXPECT_NEAR(z.lueckenMs, 100, 0.5);
  EXPECT_NEAR(static_cast<double>(z.nullen), 1600, 5);
  EXPECT_LT(z.endeDb, -90);
}

TEST_F(SelbsttestTest, ADriftingClockIsFollowed) {
  const Zeile z = pruefe({"mikro_drift", 4800, 1, 300, {}, 0.0005});
  EXPECT_EQ(z.soll, 485039);
  EXPECT_EQ(z.luecken, 2);
}

TEST_F(SelbsttestTest, StereoYieldsItsFirstChannel) {
  const Zeile z = pruefe({"systemton_lueckenlos", 960, 2, 500, {}, 0.0});
  EXPECT_EQ(z.soll, 164800);
  EXPECT_EQ(z.nullen, 0);
  EXPECT_LT(z.endeDb, -90);
}

TEST_F(SelbsttestTest, AClockThatIsTooSlowMakesBlocksOverlap) {
  const Zeile z = pruefe({"langsam", 4800, 1, 300, {}, -0.0005});
  EXPECT_EQ(z.soll, 484560);
  EXPECT_EQ(z.luecken, 0);
  EXPECT_EQ(z.ueberlappungen, 2);
  EXPECT_GT(z.verworfenMs, 10.0);
}

// Its end begins before the tone does, or is over by then.
TEST_F(SelbsttestTest, AShortRecordingIsMeasuredAsFarAsItGoes) {
  const Zeile z = pruefe({"kurz", 4800, 1, 5, {}, 0.0});
  EXPECT_EQ(z.soll, 12800);
  EXPECT_LT(z.anfangDb, -60);
  EXPECT_LT(z.endeDb, -40);
  const Zeile kuerzer = pruefe({"kuerzer", 4800, 1, 1, {}, 0.0});
  EXPECT_EQ(kuerzer.soll, 6400);
  EXPECT_EQ(kuerzer.nullen, 0);
  EXPECT_EQ(kuerzer.endeDb, 0.0);
}

TEST_F(SelbsttestTest, AConverterThatDelaysShowsByHowMuch) {
  for (const int lag : {-17, -1, 1, 13, 26}) {
    std::vector<float> zurueck(static_cast<std::size_t>(std::max(lag, 0)), 0.0F);
    swr.verformt = [&, weg = std::max(-lag, 0)](std::vector<float>& samples, auto) mutable {
      samples.insert(samples.begin(), zurueck.begin(), zurueck.end());
      zurueck.assign(samples.end() - std::max(lag, 0), samples.end());
      samples.erase(samples.end() - std::max(lag, 0), samples.end());
      samples.erase(samples.begin(), samples.begin() + std::exchange(weg, 0));
    };
    const AusgabeFaenger faenger;
    const Zeile z = lies(fall({"verzoegert", 4800, 1, 100, {}, 0.0}, swr));
    EXPECT_EQ(z.lag, lag);
    EXPECT_LT(z.anfangDb, -60);
    EXPECT_LT(z.endeDb, -60);
  }
}

// A click at one sample is as good as a mark: it shows which samples are looked at.
TEST_F(SelbsttestTest, ItsStretchesBeginAndEndAtTheirSamples) {
  const auto mitStoerung = [this](std::int64_t stelle, float wert) {
    swr.verformt = [=](std::vector<float>& samples, std::int64_t von) {
      if (stelle >= von && stelle < von + std::ssize(samples))
        samples[static_cast<std::size_t>(stelle - von)] = wert;
    };
    const AusgabeFaenger faenger;
    return lies(fall({"knack", 4800, 1, 100, {}, 0.0}, swr));
  };
  const std::int64_t laenge = mitStoerung(-1, 0.0F).laenge;
  for (const std::int64_t drin : {std::int64_t{5600}, std::int64_t{20799}})
    EXPECT_GT(mitStoerung(drin, 50.0F).anfangDb, -20) << drin;
  for (const std::int64_t draussen : {std::int64_t{5599}, std::int64_t{20800}})
    EXPECT_LT(mitStoerung(draussen, 50.0F).anfangDb, -60) << draussen;
  for (const std::int64_t drin : {laenge - 10000, laenge - 2001})
    EXPECT_GT(mitStoerung(drin, 50.0F).endeDb, -20) << drin;
  for (const std::int64_t draussen : {laenge - 10001, laenge - 2000})
    EXPECT_LT(mitStoerung(draussen, 50.0F).endeDb, -60) << draussen;
  for (const std::int64_t drin : {std::int64_t{4900}, laenge - 2001})
    EXPECT_EQ(mitStoerung(drin, 0.0F).nullen, 1) << drin;
  for (const std::int64_t draussen : {std::int64_t{4899}, laenge - 2000})
    EXPECT_EQ(mitStoerung(draussen, 0.0F).nullen, 0) << draussen;
}

TEST_F(SelbsttestTest, SilenceResemblesTheToneAtNoDelayAndTheFirstOneStays) {
  swr.verformt = [](std::vector<float>& samples, auto) {
    std::fill(samples.begin(), samples.end(), 0.0F);
  };
  const AusgabeFaenger faenger;
  const Zeile z = lies(fall({"still", 4800, 1, 100, {}, 0.0}, swr));
  EXPECT_EQ(z.lag, -40);
  EXPECT_EQ(z.anfangDb, 0.0);
  EXPECT_EQ(z.endeDb, 0.0);
  EXPECT_EQ(z.nullen, z.laenge - 2000 - 4900);
}

TEST_F(SelbsttestTest, TheModePrintsItsFourCases) {
  const AusgabeFaenger faenger;
  testing::internal::CaptureStdout();
  const int status = zeitachseTest(swr);
  std::istringstream text(testing::internal::GetCapturedStdout());
  EXPECT_EQ(status, 0);
  std::vector<Zeile> zeilen;
  for (std::string zeile; std::getline(text, zeile);)
    zeilen.push_back(lies(zeile));
  ASSERT_EQ(zeilen.size(), 4U);
  const std::array<std::string, 4> namen{"mikro_lueckenlos", "mikro_aussetzer", "mikro_drift",
                                         "systemton_lueckenlos"};
  const std::array<long long, 4> soll{164800, 164800, 485039, 164800};
  const std::array<long long, 4> luecken{0, 1, 2, 0};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(zeilen[i].fall, namen[i]);
    EXPECT_EQ(zeilen[i].soll, soll[i]);
    EXPECT_EQ(zeilen[i].luecken, luecken[i]);
    EXPECT_EQ(swr.formate[i].channels, i == 3 ? 2U : 1U);
  }
  EXPECT_NE(faenger.fehler().find("Zeitachse mikro_aussetzer: Luecke 100.0 ms bei 5.30 s"),
            std::string::npos)
      << faenger.fehler();
}

TEST_F(SelbsttestTest, ALineThatCannotBePrintedIsAFailure) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  const AusgabeFaenger faenger;
  std::fflush(stdout);
  const int vorher = ::dup(STDOUT_FILENO);
  const int voll = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ::dup2(voll, STDOUT_FILENO);
  EXPECT_EQ(zeitachseTest(swr), 2);
  EXPECT_EQ(swr.formate.size(), 1U);  // the others are not even begun
  std::clearerr(stdout);
  ::dup2(vorher, STDOUT_FILENO);
  ::close(voll);
  ::close(vorher);
}

TEST_F(SelbsttestTest, TooLittleOutputStopsTheProcess) {
  EXPECT_EXIT((void)fall({"kurz", 480, 1, 4, {}, 0.0}, swr), testing::KilledBySignal(SIGABRT),
              "Selbsttest kurz: zu wenig Ausgabe");
}

TEST_F(SelbsttestTest, ALengthThatCannotBeCountedStopsTheProcess) {
  EXPECT_EXIT((void)fall({"weit", 4800, 1, 100, {}, 1e18}, swr), testing::KilledBySignal(SIGABRT),
              "Zeitachse: Zeitpunkt nicht darstellbar");
  // Without a block there is no time to place, only the length that was to come out.
  for (const double drift : {1e18, -1e18}) {
    EXPECT_EXIT((void)fall({"verloren", 4800, 1, 2, {0, 1}, drift}, swr),
                testing::KilledBySignal(SIGABRT), "Selbsttest: Laenge nicht darstellbar");
  }
}

}  // namespace
}  // namespace hallkorb
