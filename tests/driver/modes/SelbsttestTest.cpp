// The self-test's lines against a second computation: the same synthetic recordings and the
// platform's resampler, but placed and measured in other ways.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "driver/modes/Selbsttest.h"
#include "platform/linux/audio/SwrKonverter.h"
#include "tests/support/AusgabeFaenger.h"

namespace hallkorb {
namespace {

class Swr final : public AudioConverterFactory {
 public:
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat, double rate) override {
    return SwrKonverter::neu(quellformat, rate);
  }
};

struct Messung {
  std::vector<double> y;
  int luecken = 0;
  double lueckenSamples = 0;
};

// A block goes to the place of its time if that is more than 5 ms from the end of the last one, and
// otherwise follows it; a gap stays silent.
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
    EXPECT_EQ(z.ueberlappungen, 0);
    EXPECT_EQ(z.verworfenMs, 0);
    int lag = -40;
    for (int k = -40; k <= 40; ++k) {
      if (restDb(m.y, 5600, 20800, k, f.drift) < restDb(m.y, 5600, 20800, lag, f.drift)) lag = k;
    }
    EXPECT_EQ(z.lag, lag);
    EXPECT_NEAR(z.anfangDb, restDb(m.y, 5600, 20800, lag, f.drift), 0.051);
    EXPECT_NEAR(z.endeDb, restDb(m.y, m.y.size() - 10000, m.y.size() - 2000, lag, f.drift), 0.051);
    long long nullen = 0;
    for (std::size_t n = 4900; n < m.y.size() - 2000; ++n)
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

TEST_F(SelbsttestTest, TooLittleOutputStopsTheProcess) {
  EXPECT_EXIT((void)fall({"kurz", 480, 1, 4, {}, 0.0}, swr), testing::KilledBySignal(SIGABRT),
              "Selbsttest kurz: zu wenig Ausgabe");
}

TEST_F(SelbsttestTest, ALengthThatCannotBeCountedStopsTheProcess) {
  EXPECT_EXIT((void)fall({"weit", 4800, 1, 100, {}, 1e18}, swr), testing::KilledBySignal(SIGABRT),
              "nicht darstellbar");
}

}  // namespace
}  // namespace hallkorb
