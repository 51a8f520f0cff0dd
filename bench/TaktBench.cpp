// What the stage that brings blocks onto the host's clock costs: a second of both channels of a
// recording, system audio in stereo and a microphone, in blocks of 1024 frames at 48 kHz, with
// crystals that drift. The counter is the share of one core that a recording spends on it.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "platform/clock/Hosttakt.h"

namespace hallkorb {
namespace {

constexpr double RATE = 48000.0;
constexpr std::uint32_t FRAMES = 1024;
constexpr double SEKUNDEN = 60.0;

std::uint64_t aufnahme(double ppm) {
  std::vector<float> samples(std::size_t{FRAMES} * 2);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = std::sin(static_cast<float>(i) * 0.37F);
  }
  std::uint64_t heraus = 0;
  Hosttakt me([&](const PcmBlock& block) { heraus += block.frames; });
  Hosttakt them([&](const PcmBlock& block) { heraus += block.frames; });
  for (int block = 0; block < static_cast<int>(SEKUNDEN * RATE / FRAMES); ++block) {
    const double n = block * static_cast<double>(FRAMES);
    me.nimm(
        {{RATE, 1, true}, FRAMES, {samples.data(), FRAMES}, 1000 + n / RATE * (1 - ppm * 1e-6)});
    them.nimm({{RATE, 2, true}, FRAMES, samples, 1000 + n / RATE * (1 + ppm * 1e-6)});
  }
  me.leere();
  them.leere();
  return heraus;
}

void hosttakt(benchmark::State& state) {
  std::uint64_t heraus = 0;
  for (auto _ : state)
    heraus += aufnahme(static_cast<double>(state.range(0)));
  benchmark::DoNotOptimize(heraus);
  state.counters["cores"] =
      benchmark::Counter(SEKUNDEN * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(hosttakt)->ArgName("ppm")->Arg(0)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace hallkorb
