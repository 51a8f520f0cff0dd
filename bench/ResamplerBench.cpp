// The platform's resampler as the captures use it: interleaved stereo in, the first channel out.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "capture/MonoResampler.h"
#include "platform/linux/audio/SwrKonverter.h"

namespace hallkorb {
namespace {

class Swr final : public AudioConverterFactory {
 public:
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat, double rate) override {
    return SwrKonverter::neu(quellformat, rate);
  }
};

// Arguments: input rate, frames of a block. Sixty seconds an iteration.
void resampler(benchmark::State& state) {
  const PcmFormat format{static_cast<double>(state.range(0)), 2, true};
  const auto frames = static_cast<std::uint32_t>(state.range(1));
  std::vector<float> samples(std::size_t{frames} * 2);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<float>(0.3 * std::sin(0.025 * static_cast<double>(i)));
  }
  const auto bloecke = static_cast<int>(60 * format.rate / frames);
  for (auto _ : state) {
    Swr swr;
    MonoResampler resampler(16000.0, swr);
    for (int b = 0; b < bloecke; ++b) {
      benchmark::DoNotOptimize(resampler.process({format, frames, samples, std::nullopt}));
    }
  }
  state.counters["audio_s_per_cpu_s"] = benchmark::Counter(
      60.0 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(resampler)
    ->ArgNames({"rate", "frames"})
    ->Args({48000, 1024})
    ->Args({48000, 4096})
    ->Args({44100, 1024})
    ->Args({16000, 1024})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace hallkorb
