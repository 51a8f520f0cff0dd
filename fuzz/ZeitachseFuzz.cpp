// Arbitrary block times and lengths: the timeline loses and invents no sample that it does not
// count.
#include <fcntl.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/Ausgabe.h"
#include "capture/Zeitachse.h"
#include "fuzz/Bytestrom.h"

namespace hallkorb {
namespace {

constexpr double RATE = 16000.0;
constexpr double NULLZEIT = 1000.0;
constexpr double HOECHSTENS = 20.0;  // seconds that a time may jump: longer gaps only take memory

// A block's time: near where the last one ended, somewhere else, or no time at all.
std::optional<double> zeit(Bytestrom& eingabe, double jetzt) {
  switch (eingabe.byte() % 6) {
    case 0:
      return std::nullopt;
    case 1: {
      const double wert = eingabe.zahl();  // NaN, infinite, negative, tiny
      if (std::isfinite(wert) && std::abs(wert) > NULLZEIT) return -1.0;
      return wert;
    }
    case 2:
      return jetzt + (eingabe.byte() / 255.0 - 0.5) * HOECHSTENS;
    default:
      return jetzt + (eingabe.byte() / 255.0 - 0.5) * 0.02;
  }
}

void laufe(Bytestrom eingabe) {
  Zeitachse achse("me", RATE, NULLZEIT);
  std::int64_t hinein = 0;
  std::int64_t heraus = 0;
  std::int64_t voran = 0;  // silence before the first block that has a time
  double jetzt = NULLZEIT;
  for (int k = 0; k < 200 && !eingabe.leer(); ++k) {
    const std::size_t n = std::size_t{eingabe.byte()} * 8;
    const auto t = zeit(eingabe, jetzt);
    // The resampler gives a few samples more or less than the captured time asks for.
    const double dauer = (static_cast<double>(n) + eingabe.byte() % 5) / RATE;
    const auto aus = achse.einordnen(std::vector<float>(n, 0.5F), t, dauer);
    jetzt += dauer;
    hinein += static_cast<std::int64_t>(n);
    heraus += static_cast<std::int64_t>(aus.size());
    pruefe(achse.geschrieben == heraus);
    const std::int64_t erfunden = heraus + achse.verworfen - hinein - achse.lueckenSamples;
    // Only once, and for good: when the first block with a time comes.
    pruefe(erfunden == voran || (voran == 0 && erfunden > 0));
    voran = erfunden;
  }
  pruefe(achse.luecken >= 0 && achse.lueckenSamples >= 0 && achse.verworfen >= 0);
  pruefe(!achse.bericht().empty());
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  hallkorb::FileHandleTextOutput::standardError().handle = ::open("/dev/null", O_WRONLY);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t anzahl) {
  hallkorb::laufe(hallkorb::Bytestrom(std::span(bytes, anzahl)));
  return 0;
}
