// The echo path: its transform beside FFTW, one block, one delay analysis, and a whole recording.
// The argument is the instruction set (0 basis, 1 AVX2, 2 AVX-512).
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <span>
#include <vector>

#include "echo/EchoStrecke.h"
#include "echo/kernels/Kernsatz.h"
#include "echo/KFFT.h"
#include "echo/Verzoegerungsschaetzer.h"
#include "tests/echo/scenes/Szene.h"

#if defined(HALLKORB_FFTW)
#include <fftw3.h>
#endif

namespace hallkorb {
namespace {

// Fixes the instruction set of objects made during its lifetime; false if this processor lacks it.
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
  const kern::Kernsatz* kern_;
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

double rechenzeit() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Processor seconds of a number of transforms of fresh noise, each on the result of the one before;
// few enough for the values to stay in range.
constexpr int FOLGE = 16;
template <class Transformation>
double dauer(const std::vector<double>& anfang, double* re, double* im, Transformation&& vor) {
  std::copy(anfang.begin(), anfang.end(), re);
  std::copy(anfang.rbegin(), anfang.rend(), im);
  const double beginn = rechenzeit();
  for (int i = 0; i < FOLGE; ++i) {
    vor(re, im);
    benchmark::ClobberMemory();
  }
  return rechenzeit() - beginn;
}

#if defined(HALLKORB_FFTW)
// FFTW at its best for the same task: split arrays in, through an interleaved scratch array, split
// arrays out in the same place. (Its plans for split arrays in place are a weak case.)
class Fftw {
 public:
  explicit Fftw(int n)
      : n_(static_cast<std::size_t>(n)),
        re(fftw_alloc_real(n_)),
        im(fftw_alloc_real(n_)),
        z_(fftw_alloc_real(2 * n_)) {
    const fftw_iodim hin{n, 1, 2};
    plan_ = fftw_plan_guru_split_dft(1, &hin, 0, nullptr, re, im, z_, z_ + 1, FFTW_PATIENT);
  }
  ~Fftw() {
    fftw_destroy_plan(plan_);
    fftw_free(re);
    fftw_free(im);
    fftw_free(z_);
  }
  Fftw(const Fftw&) = delete;
  Fftw& operator=(const Fftw&) = delete;

  void vor() {
    fftw_execute(plan_);
    for (std::size_t k = 0; k < n_; ++k) {
      re[k] = z_[2 * k];
      im[k] = z_[2 * k + 1];
    }
  }

 private:
  std::size_t n_;

 public:
  double* re;
  double* im;

 private:
  double* z_;
  fftw_plan plan_;
};
#endif

// Microseconds of a transform; if FFTW is available, also its own, measured in turn in the same
// run, and the ratio.
void kfft(benchmark::State& state) {
  const Wahl wahl(state, state.range(1));
  if (!wahl) return;
  KFFT fft(static_cast<std::uint64_t>(state.range(0)));
  DFeld re(fft.n);
  DFeld im(fft.n);
  const auto anfang = rauschen(static_cast<std::size_t>(fft.n));
  double wir = 0.0;
  double sie = 0.0;
#if defined(HALLKORB_FFTW)
  Fftw fftw(static_cast<int>(fft.n));
#endif
  for (auto _ : state) {
    const double je = dauer(anfang, re.p, im.p, [&](double* r, double* i) { fft.vor(r, i); });
    state.SetIterationTime(je);
    wir += je;
#if defined(HALLKORB_FFTW)
    sie += dauer(anfang, fftw.re, fftw.im, [&](double*, double*) { fftw.vor(); });
#endif
  }
  const double male = FOLGE * static_cast<double>(state.iterations());
  state.counters["us"] = 1e6 * wir / male;
  if (sie > 0.0) {
    state.counters["fftw_us"] = 1e6 * sie / male;
    state.counters["zu_fftw"] = wir / sie;
  }
}
BENCHMARK(kfft)->ArgsProduct({{9, 17}, {0, 1, 2}})->UseManualTime()->Unit(benchmark::kMicrosecond);

// One block of the canceller and the post-filter, echo and near end in it.
void echoBlock(benchmark::State& state) {
  const Wahl wahl(state, state.range(0));
  if (!wahl) return;
  Echokompensation ec(20);
  constexpr std::size_t VERZUG = 100;
  const std::vector<double> x = rauschen(256 * 256 + 512);
  std::vector<double> mikro = rauschen(x.size() + VERZUG);
  mikro.erase(mikro.begin(), mikro.begin() + VERZUG);  // other noise than x, at its places
  for (std::size_t i = VERZUG; i < x.size(); ++i)
    mikro[i] = 0.3 * mikro[i] + 0.5 * x[i - VERZUG];
  std::size_t b = 0;
  const auto block = [&] {
    const std::size_t stelle = b++ % 256 * 256;
    return ec.block({mikro.data() + stelle + 256, 256}, {x.data() + stelle, 512});
  };
  for (int i = 0; i < 500; ++i)
    block();  // until it has learnt
  for (auto _ : state)
    benchmark::DoNotOptimize(block().data());
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

// A minute of conversation through the whole path.
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
  // Audio seconds per processor second: how many times faster than real time.
  state.counters["echtzeit"] = benchmark::Counter(60.0 * static_cast<double>(state.iterations()),
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(echoStrecke)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// The slowest block of that minute, in milliseconds. Each block's time is the least of several
// runs, which leaves out the machine's own pauses.
void langsamsterBlock(benchmark::State& state) {
  const Wahl wahl(state, state.range(0));
  if (!wahl) return;
  const szenen::Szene& szene = gespraech();
  constexpr std::size_t N = 256;
  std::vector<double> zeiten(szene.mikro.size() / N, 1e9);
  for (auto _ : state) {
    EchoStrecke strecke(20);
    for (std::size_t b = 0; b < zeiten.size(); ++b) {
      strecke.referenz({szene.referenz.data() + b * N, N});
      const double beginn = rechenzeit();
      strecke.mikro({szene.mikro.data() + b * N, N});
      zeiten[b] = std::min(zeiten[b], rechenzeit() - beginn);
    }
  }
  state.counters["ms"] = 1e3 * *std::max_element(zeiten.begin(), zeiten.end());
}
BENCHMARK(langsamsterBlock)->Arg(0)->Arg(1)->Arg(2)->Iterations(8)->Unit(benchmark::kMillisecond);

// Digital silence after speech: nothing may become slow as it decays.
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
  state.counters["echtzeit"] = benchmark::Counter(0.3 * static_cast<double>(state.iterations()),
                                                  benchmark::Counter::kIsRate);
}
// Ten minutes of it.
BENCHMARK(stilleNachSprache)->Iterations(2000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace hallkorb
