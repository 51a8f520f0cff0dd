// The timeline with a device that drifts and loses blocks, in blocks of 1024 frames at 48 kHz.
#include <benchmark/benchmark.h>

#include <vector>

#include "base/Ausgabe.h"
#include "capture/Zeitachse.h"

namespace hallkorb {
namespace {

constexpr double RATE = 16000.0;
constexpr double BLOCK_SEKUNDEN = 1024.0 / 48000.0;
constexpr int BLOECKE = 10000;

void zeitachse(benchmark::State& state) {
  auto& fehler = FileHandleTextOutput::standardError();
  const int vorher = fehler.handle;
  fehler.handle = -1;
  for (auto _ : state) {
    Zeitachse zeit("me", RATE, 1000.0);
    std::size_t laenge = 0;
    for (int b = 0; b < BLOECKE; ++b) {
      if (b % 500 == 499) continue;
      laenge += zeit.einordnen(std::vector<float>(341, 0.1F), 1000.0 + b * BLOCK_SEKUNDEN * 1.0001,
                               BLOCK_SEKUNDEN)
                    .size();
    }
    benchmark::DoNotOptimize(laenge);
  }
  fehler.handle = vorher;
  state.counters["audio_s_per_cpu_s"] =
      benchmark::Counter(BLOECKE * BLOCK_SEKUNDEN * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate);
}
BENCHMARK(zeitachse)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace hallkorb
