// The echo path: its transform beside FFTW, one block, one delay analysis, and a whole recording.
// The argument is the instruction set (0 basis, 1 AVX2, 2 AVX-512).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <span>
#include <vector>

#include "echo/EchoStrecke.h"
#include "echo/kern/Kern.h"
#include "echo/KFFT.h"
#include "echo/Verzoegerungsschaetzer.h"
#include "tests/echo/szenen/Szene.h"

#if defined(HALLKORB_FFTW)
#include <fftw3.h>
#endif

namespace hallkorb {
namespace {

// Chooses the instruction set of all objects made meanwhile; false if this processor lacks it.
class Wahl {
 public:
  Wahl(benchmark::State& state, std::int64_t befehlssatz)
      : kern_(kern::fuer(static_cast<kern::Befehlssatz>(befehlssatz))) {
    if (kern_ == nullptr) {
      state.SkipWithError("not on this processor");
      return;
    }
    kern::beschraenken(kern_);
    state.SetLabel(kern_->name);
  }
  ~Wahl() { kern::beschraenken(nullptr); }
  Wahl(const Wahl&) = delete;
  Wahl& operator=(const Wahl&) = delete;
  explicit operator bool() const { return kern_ != nullptr; }

 private:
  const kern::Kern* kern_;
};

const szenen::Szene& gespraech() {
  static const szenen::Szene szene = szenen::szene({.name = "gespraech",
                                                    .sekunden = 60.0,
                                                    .fern = {{0.0, 25.0}, {35.0, 60.0}},
                                                    .nah = {{20.0, 40.0}},
                                                    .verzoegerungMs = 120.0});
  return szene;
}

std::vector<double> rauschen(std::size_t n) {
  std::mt19937_64 zufall(1);
  std::normal_distribution<double> normal(0.0, 1000.0);
  std::vector<double> w(n);
  for (double& v : w)
    v = normal(zufall);
  return w;
}

void kfft(benchmark::State& state) {
  const Wahl wahl(state, state.range(1));
  if (!wahl) return;
  const auto log2n = static_cast<std::uint64_t>(state.range(0));
  KFFT fft(log2n);
  DFeld re(fft.n);
  DFeld im(fft.n);
  const auto anfang = rauschen(static_cast<std::size_t>(fft.n));
  for (auto _ : state) {
    // There and back keeps the values in range; one transform is half of it.
    fft.vor(re.p, im.p);
    fft.vor(im.p, re.p);
    benchmark::ClobberMemory();
  }
  state.counters["je_us"] =
      benchmark::Counter(2e-6 * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(kfft)->ArgsProduct({{9, 17}, {0, 1, 2}});

#if defined(HALLKORB_FFTW)
// FFTW at its best for the same task: split arrays in, through an interleaved scratch array, split
// arrays out in the same place. (Its plans for split arrays in place are a weak case.)
void fftw(benchmark::State& state) {
  const int n = 1 << state.range(0);
  const auto laenge = static_cast<std::size_t>(n);
  double* re = fftw_alloc_real(laenge);
  double* im = fftw_alloc_real(laenge);
  double* z = fftw_alloc_real(2 * laenge);
  const fftw_iodim hin{n, 1, 2};
  fftw_plan plan = fftw_plan_guru_split_dft(1, &hin, 0, nullptr, re, im, z, z + 1, FFTW_PATIENT);
  std::fill_n(re, laenge, 0.0);
  std::fill_n(im, laenge, 0.0);
  for (auto _ : state) {
    for (int i = 0; i < 2; ++i) {
      fftw_execute(plan);
      for (std::size_t k = 0; k < laenge; ++k) {
        re[k] = z[2 * k];
        im[k] = z[2 * k + 1];
      }
      benchmark::ClobberMemory();
    }
  }
  state.counters["je_us"] =
      benchmark::Counter(2e-6 * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  fftw_destroy_plan(plan);
  fftw_free(re);
  fftw_free(im);
  fftw_free(z);
}
BENCHMARK(fftw)->Arg(9)->Arg(17);
#endif

// One block of the canceller and the post-filter, echo and near end in it.
void echoBlock(benchmark::State& state) {
  const Wahl wahl(state, state.range(0));
  if (!wahl) return;
  Echokompensation ec(20);
  const std::vector<double> x = rauschen(256 * 256 + 512);
  std::size_t b = 0;
  for (auto _ : state) {
    const std::size_t stelle = b++ % 256 * 256;
    benchmark::DoNotOptimize(
        ec.block({x.data() + stelle + 200, 256}, {x.data() + stelle, 512}).data());
  }
}
BENCHMARK(echoBlock)->Arg(0)->Arg(1)->Arg(2);

// The call in which the estimator analyses its history.
void verzoegerungsanalyse(benchmark::State& state) {
  const Wahl wahl(state, state.range(0));
  if (!wahl) return;
  Verzoegerungsschaetzer schaetzer;
  const std::vector<double> x = rauschen(60000);
  schaetzer.fuettern({x.data(), 44800}, {x.data() + 1000, 44800});
  for (auto _ : state) {
    benchmark::DoNotOptimize(schaetzer.fuettern({x.data(), 8000}, {x.data() + 1000, 8000}));
  }
}
BENCHMARK(verzoegerungsanalyse)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

// A minute of conversation through the whole path. s_je_s: processor seconds per second of audio.
void echoStrecke(benchmark::State& state) {
  const Wahl wahl(state, state.range(0));
  if (!wahl) return;
  const szenen::Szene& szene = gespraech();
  for (auto _ : state) {
    EchoStrecke strecke(20);
    double summe = 0.0;
    strecke.ausgabe = [&summe](std::span<const float> s, const std::vector<bool>&) {
      summe += static_cast<double>(s[0]);
    };
    for (std::size_t ab = 0; ab < szene.mikro.size(); ab += 4800) {
      strecke.referenz({szene.referenz.data() + ab, 4800});
      strecke.mikro({szene.mikro.data() + ab, 4800});
    }
    strecke.abschliessen();
    benchmark::DoNotOptimize(summe);
  }
  state.counters["s_je_s"] =
      benchmark::Counter(60.0 * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(echoStrecke)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// What digital silence after speech costs: nothing may become slow as it decays.
void stilleNachSprache(benchmark::State& state) {
  const szenen::Szene& szene = gespraech();
  EchoStrecke strecke(20);
  strecke.referenz({szene.referenz.data(), 160000});
  strecke.mikro({szene.mikro.data(), 160000});
  const std::vector<float> stille(4800, 0.0F);
  for (auto _ : state) {
    strecke.referenz(stille);
    strecke.mikro(stille);
  }
  state.counters["s_je_s"] =
      benchmark::Counter(0.3 * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
// Ten minutes of it.
BENCHMARK(stilleNachSprache)->Iterations(2000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace hallkorb
