// Writing and reading WAV files in a real folder.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <span>
#include <vector>

#include "audiofiles/RohWav.h"
#include "audiofiles/Wav.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

constexpr double RATE = 16000.0;

std::vector<float> rauschen(std::size_t anzahl) {
  std::mt19937 zufall(1);
  std::uniform_real_distribution<float> werte(-1.1F, 1.1F);
  std::vector<float> samples(anzahl);
  for (float& x : samples)
    x = werte(zufall);
  return samples;
}

void zaehleAudio(benchmark::State& state, std::size_t samples) {
  state.counters["audio_s_per_cpu_s"] = benchmark::Counter(
      static_cast<double>(samples) / RATE * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate);
}

// A chunk of four seconds, and one of an hour.
void schreibeWav(benchmark::State& state) {
  const TempOrdner ordner;
  const auto samples = rauschen(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(writeWav(samples, RATE, ordner / "a.wav"));
  zaehleAudio(state, samples.size());
}
BENCHMARK(schreibeWav)->Arg(64000)->Arg(57600000)->Unit(benchmark::kMillisecond);

void liesWavDatei(benchmark::State& state) {
  const TempOrdner ordner;
  const auto samples = rauschen(static_cast<std::size_t>(state.range(0)));
  if (writeWav(samples, RATE, ordner / "a.wav").gescheitert()) state.SkipWithError("writeWav");
  for (auto _ : state)
    benchmark::DoNotOptimize(liesWav(ordner / "a.wav"));
  zaehleAudio(state, samples.size());
}
BENCHMARK(liesWavDatei)->Arg(64000)->Arg(57600000)->Unit(benchmark::kMillisecond);

// A minute of the raw microphone file, in the microphone's blocks.
void rohWav(benchmark::State& state) {
  const TempOrdner ordner;
  const auto samples = rauschen(960000);
  constexpr std::size_t BLOCK = 1365;
  while (state.KeepRunning()) {
    const auto datei = RohWav::oeffne(ordner / "mikro_roh.wav", 16000);
    for (std::size_t k = 0; k < samples.size(); k += BLOCK) {
      datei->schreiben(std::span(samples).subspan(k, std::min(BLOCK, samples.size() - k)));
    }
    if (datei->schliessen().gescheitert()) state.SkipWithError("schliessen");
  }
  zaehleAudio(state, samples.size());
}
BENCHMARK(rohWav)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace hallkorb
