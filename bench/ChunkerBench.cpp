// The chunker over an hour of speech and pauses, in the block size of the microphone. The files go
// to a real folder.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "base/Ausgabe.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

constexpr double RATE = 16000.0;
constexpr double SEKUNDEN = 3600.0;

const std::vector<float>& stunde() {
  static const std::vector<float> samples = [] {
    std::mt19937 zufall(1);
    std::uniform_real_distribution<float> rede(-0.3F, 0.3F);
    std::uniform_real_distribution<float> pause(-0.001F, 0.001F);
    std::vector<float> werte;
    const auto anzahl = static_cast<std::size_t>(RATE * SEKUNDEN);
    while (werte.size() < anzahl) {
      for (std::size_t n = zufall() % 48000; n > 0; --n)
        werte.push_back(rede(zufall));
      for (std::size_t n = zufall() % 16000; n > 0; --n)
        werte.push_back(pause(zufall));
    }
    werte.resize(anzahl);
    return werte;
  }();
  return samples;
}

// Arguments: turn mode, chunk or greatest length in seconds, block size in samples.
void chunker(benchmark::State& state) {
  const auto& samples = stunde();
  const auto block = static_cast<std::size_t>(state.range(2));
  const int stumm = ::open("/dev/null", O_WRONLY);
  auto& ausgabe = FileHandleTextOutput::standardOutput();
  const int vorher = std::exchange(ausgabe.handle, stumm);
  while (state.KeepRunning()) {
    const TempOrdner ordner;
    const auto sekunden = static_cast<double>(state.range(1));
    ChannelChunker c({.channel = "me",
                      .outDir = ordner.pfad(),
                      .rate = RATE,
                      .chunkSeconds = sekunden,
                      .turnMode = state.range(0) != 0,
                      .minSeconds = 1.2,
                      .maxSeconds = sekunden,
                      .silenceSeconds = 0.6,
                      .silenceRms = 0.006F});
    for (std::size_t k = 0; k < samples.size(); k += block) {
      c.append(std::span(samples).subspan(k, std::min(block, samples.size() - k)));
    }
    c.finalizeRemainder();
    benchmark::DoNotOptimize(c.globalOffset());
  }
  ausgabe.handle = vorher;
  ::close(stumm);
  state.counters["audio_s_per_cpu_s"] = benchmark::Counter(
      SEKUNDEN * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(chunker)
    ->ArgNames({"turn", "seconds", "block"})
    ->Args({1, 4, 1365})
    ->Args({1, 3000, 1365})
    ->Args({0, 25, 1365})
    ->Args({0, 3000, 1365})
    ->Args({0, 25, 57600000})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace hallkorb
