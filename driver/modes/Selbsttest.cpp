#include "driver/modes/Selbsttest.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "base/Abbruch.h"
#include "base/Ausgabe.h"
#include "base/Text.h"
#include "capture/MonoResampler.h"
#include "capture/Zeitachse.h"

namespace hallkorb {
namespace {

constexpr double EINGANGSRATE = 48000.0;
constexpr double RATE = 16000.0;
constexpr double KREISFREQUENZ = 1884.9555921538758;  // of a 300 Hz tone
constexpr double AMPLITUDE = 0.5;
constexpr double NULLZEIT = 1000.0;
constexpr double VERSATZ = 0.3;                 // seconds from time zero to the first block
constexpr std::int64_t GROESSTE_LAUFZEIT = 40;  // samples
constexpr std::int64_t ANFANG_VON = 5600;       // the stretch in which the delay is looked for
constexpr std::int64_t ANFANG_BIS = 20800;
constexpr std::int64_t ENDE_LAENGE = 10000;  // the last stretch, less the margin at the very end
constexpr std::int64_t ENDE_RAND = 2000;
constexpr std::int64_t TON_SICHER_AB = 4900;  // the tone begins at sample 4800

// The input's sample n.
float ton(std::int64_t n) {
  return static_cast<float>(AMPLITUDE *
                            std::sin(KREISFREQUENZ * static_cast<double>(n) / EINGANGSRATE));
}

std::vector<float> aufgenommen(const Testfall& f, Zeitachse& zeit,
                               AudioConverterFactory& konverter) {
  const PcmFormat format{EINGANGSRATE, f.kanaele, false};
  MonoResampler resampler(RATE, konverter);
  std::vector<float> ausgang;
  std::vector<float> samples(static_cast<std::size_t>(f.frames) * f.kanaele);
  for (std::int64_t b = 0; b < f.puffer; ++b) {
    if (f.auslassen.contains(b)) continue;
    std::int64_t i = 0;
    for (float& sample : samples)
      sample = ton(b * f.frames + i++ % f.frames);
    const PcmBlock block{format, static_cast<std::uint32_t>(f.frames), samples, std::nullopt};
    auto gewandelt = resampler.process(block);
    if (!gewandelt) continue;
    const double t =
        NULLZEIT + VERSATZ + (1 + f.drift) * (static_cast<double>(b * f.frames) / EINGANGSRATE);
    const auto gestellt =
        zeit.einordnen(std::move(*gewandelt), t, static_cast<double>(f.frames) / EINGANGSRATE);
    ausgang.insert(ausgang.end(), gestellt.begin(), gestellt.end());
  }
  return ausgang;
}

// The share of the output in [von, bis) that is not the ideal tone at this lag, at any gain:
// 1 - rho^2 in decibels.
double rest(std::span<const float> y, std::int64_t von, std::int64_t bis, std::int64_t lag,
            double drift) {
  double c = 0;
  double er = 0;
  double ey = 0;
  for (std::int64_t n = von; n < bis; ++n) {
    const double t = (static_cast<double>(n - lag) / RATE - VERSATZ) / (1 + drift);
    const double ideal = t < 0 ? 0.0 : std::sin(KREISFREQUENZ * t);
    const double wert = y[static_cast<std::size_t>(n)];
    c += ideal * wert;
    er += ideal * ideal;
    ey += wert * wert;
  }
  const double rho = c / std::max(std::sqrt(er * ey), 1e-12);
  return 10 * std::log10(std::max(1 - rho * rho, 1e-12));
}

std::int64_t sollLaenge(const Testfall& f) {
  const double soll =
      (static_cast<double>(f.puffer * f.frames) / EINGANGSRATE * (1 + f.drift) + VERSATZ) * RATE;
  if (!(soll > -0x1p63 && soll < 0x1p63)) abbruch("Selbsttest: Laenge nicht darstellbar");
  return static_cast<std::int64_t>(soll);
}

}  // namespace

std::string fall(const Testfall& f, AudioConverterFactory& konverter) {
  Zeitachse zeit(f.name, RATE, NULLZEIT);
  const std::vector<float> y = aufgenommen(f, zeit, konverter);
  const auto laenge = static_cast<std::int64_t>(y.size());
  const std::int64_t soll = sollLaenge(f);
  if (laenge < ANFANG_VON) abbruch("Selbsttest " + f.name + ": zu wenig Ausgabe");

  std::int64_t laufzeit = 0;
  double restAnfang = 0;
  for (std::int64_t lag = -GROESSTE_LAUFZEIT; lag <= GROESSTE_LAUFZEIT; ++lag) {
    const double r = rest(y, ANFANG_VON, std::min(laenge, ANFANG_BIS), lag, f.drift);
    if (lag > -GROESSTE_LAUFZEIT && !(r < restAnfang)) continue;
    laufzeit = lag;
    restAnfang = r;
  }
  const std::int64_t ende = laenge - ENDE_RAND;
  const double restEnde =
      rest(y, std::max<std::int64_t>(0, laenge - ENDE_LAENGE), ende, laufzeit, f.drift);
  const std::int64_t nullen =
      ende <= TON_SICHER_AB ? 0 : std::count(y.begin() + TON_SICHER_AB, y.begin() + ende, 0.0F);

  return formatiert("{\"fall\":\"%s\",\"laenge\":%" PRId64 ",\"soll_laenge\":%" PRId64
                    ",\"luecken\":%" PRId64 ",\"luecken_ms\":%.1f,\"ueberlappungen\":%" PRId64
                    ",\"verworfen_ms\":%.1f,\"nullen\":%" PRId64 ",\"laufzeit_samples\":%" PRId64
                    ",\"rest_anfang_db\":%.1f,\"rest_ende_db\":%.1f}",
                    f.name.c_str(), laenge, soll, zeit.luecken,
                    static_cast<double>(zeit.lueckenSamples) / RATE * 1000, zeit.ueberlappungen,
                    static_cast<double>(zeit.verworfen) / RATE * 1000, nullen, laufzeit, restAnfang,
                    restEnde);
}

int zeitachseTest(AudioConverterFactory& konverter) {
  for (const Testfall& f :
       {Testfall{.name = "mikro_lueckenlos", .frames = 4800, .puffer = 100},
        Testfall{.name = "mikro_aussetzer", .frames = 4800, .puffer = 100, .auslassen = {50}},
        Testfall{.name = "mikro_drift", .frames = 4800, .puffer = 300, .drift = 0.0005},
        Testfall{.name = "systemton_lueckenlos", .frames = 960, .kanaele = 2, .puffer = 500}}) {
    if (!druckeErgebnis(fall(f, konverter))) return 2;
  }
  return 0;
}

}  // namespace hallkorb
