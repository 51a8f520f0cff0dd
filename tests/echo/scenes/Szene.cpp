#include "tests/echo/scenes/Szene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <numbers>
#include <numeric>
#include <random>
#include <vector>

#include "platform/clock/Hosttakt.h"
#include "tests/oracles/echo/Fft.h"

namespace hallkorb::szenen {

namespace {

constexpr double PI = std::numbers::pi;

std::size_t proben(double sekunden) {
  return static_cast<std::size_t>(sekunden * RATE);
}

double verhaeltnis(double db) {
  return std::pow(10.0, db / 20.0);
}

// The same sequence with every standard library, unlike std::normal_distribution.
class Zufall {
 public:
  explicit Zufall(std::uint64_t saat) : motor_(saat) {}
  double gleich() { return static_cast<double>(motor_() >> 11) * 0x1p-53; }
  double zwischen(double von, double bis) { return von + (bis - von) * gleich(); }
  double normal() {
    const double u = 1.0 - gleich();
    return std::sqrt(-2.0 * std::log(u)) * std::cos(2.0 * PI * gleich());
  }

 private:
  std::mt19937_64 motor_;
};

float gerundet(double x) {
  return static_cast<float>(std::clamp(std::nearbyint(x * 32768.0), -32768.0, 32767.0) / 32768.0);
}

// What is spoken in the given stretches, with 20 ms of fading in and out.
Signal gesprochen(const Signal& stimme, const std::vector<Abschnitt>& abschnitte,
                  std::size_t laenge, double db) {
  Signal s(laenge, 0.0);
  std::size_t stelle = 0;
  for (const auto& [von, bis] : abschnitte) {
    const std::size_t a = proben(von);
    const std::size_t e = std::min(proben(bis), laenge);
    for (std::size_t i = a; i < e; ++i) {
      const double rand = static_cast<double>(std::min(i - a, e - 1 - i)) / (0.02 * RATE);
      s[i] = stimme[stelle++ % stimme.size()] * std::min(1.0, rand) * verhaeltnis(db);
    }
  }
  return s;
}

// x at a fractional position, by a windowed sinc of 32 values.
double dazwischen(const Signal& x, double stelle) {
  const double ganz = std::floor(stelle);
  const double bruch = stelle - ganz;
  double summe = 0.0;
  for (int k = -15; k <= 16; ++k) {
    const double i = ganz + k;
    if (i < 0.0 || i >= static_cast<double>(x.size())) continue;
    const double t = bruch - k;
    const double sinc = std::fabs(t) < 1e-9 ? 1.0 : std::sin(PI * t) / (PI * t);
    const double fenster = 0.5 + 0.5 * std::cos(PI * t / 16.5);
    summe += x[static_cast<std::size_t>(i)] * sinc * fenster;
  }
  return summe;
}

// A stream whose clock runs slow (or fast), brought back into step by the timeline whenever it is 5
// ms off: zeros are inserted, or samples dropped.
Signal verstimmt(const Signal& x, double ppm) {
  if (ppm == 0.0) return x;
  constexpr double GRENZE = 80.0;
  Signal y;
  // In the middle of a recording: the next correction is due at DRIFT_KORREKTUR.
  double stelle = std::copysign(GRENZE, ppm) - ppm * 1e-6 * RATE * DRIFT_KORREKTUR;
  while (y.size() < x.size()) {
    const double fehlt = stelle - static_cast<double>(y.size());
    if (fehlt >= GRENZE) y.insert(y.end(), static_cast<std::size_t>(GRENZE), 0.0);
    if (fehlt <= -GRENZE) stelle += GRENZE;
    y.push_back(dazwischen(x, stelle));
    stelle += 1.0 + ppm * 1e-6;
  }
  y.resize(x.size());
  return y;
}

// From three times the rate: the band up to 7 kHz.
Signal gedrittelt(const std::vector<float>& x) {
  constexpr std::ptrdiff_t WEITE = 96;
  std::array<double, 2 * WEITE + 1> tiefpass{};
  for (std::ptrdiff_t n = -WEITE; n <= WEITE; ++n) {
    const auto k = static_cast<double>(n);
    const double t = PI * k * 7500.0 * 2 / (3 * RATE);
    const double fenster = 0.42 + 0.5 * std::cos(PI * k / static_cast<double>(WEITE)) +
                           0.08 * std::cos(2 * PI * k / static_cast<double>(WEITE));
    tiefpass[static_cast<std::size_t>(n + WEITE)] =
        (n == 0 ? 1.0 : std::sin(t) / t) * fenster * 7500.0 * 2 / (3 * RATE);
  }
  Signal y;
  for (std::size_t i = WEITE; i + WEITE < x.size(); i += 3) {
    y.push_back(std::inner_product(tiefpass.begin(), tiefpass.end(), &x[i - WEITE], 0.0));
  }
  return y;
}

// The same stream from a device at 48 kHz, brought onto the host's clock as the recorder does; in
// the middle of a recording, too.
Signal imTakt(const Signal& x, double ppm) {
  constexpr std::uint32_t FRAMES = 1024;
  constexpr double NULLZEIT = 1000.0;
  constexpr double VORHER = 100.002;  // seconds; 96 samples of the device are the low-pass's
  std::vector<float> y;
  Hosttakt takt([&y](const PcmBlock& block) {
    y.insert(y.end(), block.samples.begin(), block.samples.end());
  });
  const double schritt = (1.0 + ppm * 1e-6) / 3;
  std::vector<float> samples(FRAMES);
  for (double stelle = -VORHER * RATE; stelle < static_cast<double>(x.size() + FRAMES);) {
    const double zeit = NULLZEIT + stelle / RATE;
    for (float& sample : samples) {
      sample = static_cast<float>(dazwischen(x, stelle));
      stelle += schritt;
    }
    takt.nimm({{3 * RATE, 1, true}, FRAMES, samples, zeit});
  }
  takt.leere();
  y.erase(y.begin(), y.begin() + static_cast<std::ptrdiff_t>(proben(3 * 100.0)));
  Signal z = gedrittelt(y);
  z.resize(x.size());
  return z;
}

// y = x delayed by ms from sample `ab` on.
void verzoegertAb(const Signal& x, double ms, std::size_t ab, Signal& y) {
  const std::size_t weite = proben(ms / 1000.0);
  for (std::size_t i = ab; i < y.size(); ++i)
    y[i] = i >= weite ? x[i - weite] : 0.0;
}

}  // namespace

Signal kunstsprache(double sekunden, std::uint64_t saat) {
  Zufall zufall(saat);
  Signal s;
  const std::size_t laenge = proben(sekunden);
  s.reserve(laenge);
  while (s.size() < laenge) {
    const bool pause = zufall.gleich() < 0.18;
    const std::size_t silbe =
        proben(pause ? zufall.zwischen(0.1, 0.4) : zufall.zwischen(0.08, 0.3));
    const double grundton = zufall.zwischen(90.0, 240.0);
    const double formant = zufall.zwischen(400.0, 2500.0);
    const double guete = std::exp(-PI * zufall.zwischen(80.0, 300.0) / RATE);
    const double stimmhaft = zufall.gleich() < 0.75 ? 1.0 : 0.1;
    double phase = 0.0;
    double y1 = 0.0;
    double y2 = 0.0;
    for (std::size_t i = 0; i < silbe && s.size() < laenge; ++i) {
      phase += grundton / RATE;
      const double puls = phase >= 1.0 ? 8.0 : 0.0;
      if (phase >= 1.0) phase -= 1.0;
      const double anregung = stimmhaft * puls + 0.5 * zufall.normal();
      const double y =
          anregung + 2.0 * guete * std::cos(2.0 * PI * formant / RATE) * y1 - guete * guete * y2;
      y2 = y1;
      y1 = y;
      const double huelle =
          std::sin(PI * (static_cast<double>(i) + 0.5) / static_cast<double>(silbe));
      s.push_back(pause ? 0.0 : y * huelle);
    }
  }
  double energie = 0.0;
  for (const double v : s)
    energie += v * v;
  const double faktor = 0.05 / std::sqrt(energie / static_cast<double>(laenge) + 1e-20);
  for (double& v : s)
    v *= faktor;
  return s;
}

Signal raumantwort(double rt60, std::uint64_t saat) {
  Zufall zufall(saat);
  Signal h(proben(rt60));
  // -60 dB after rt60.
  const double abfall = std::log(1000.0) / (rt60 * RATE);
  double energie = 0.0;
  for (std::size_t i = 0; i < h.size(); ++i) {
    h[i] = zufall.normal() * std::exp(-abfall * static_cast<double>(i));
    if (i == 0) h[i] = 6.0;
    energie += h[i] * h[i];
  }
  for (double& v : h)
    v /= std::sqrt(energie);
  return h;
}

Signal gefaltet(const Signal& x, const Signal& antwort) {
  unsigned log2n = 1;
  while ((std::size_t{1} << log2n) < x.size() + antwort.size())
    ++log2n;
  const std::size_t n = std::size_t{1} << log2n;
  // Both real signals through one transform: the product of their spectra is Z^2 / 2i, up to the
  // part that the imaginary part of the way back leaves out.
  Signal re(n, 0.0);
  Signal im(n, 0.0);
  std::copy(x.begin(), x.end(), re.begin());
  std::copy(antwort.begin(), antwort.end(), im.begin());
  // Its table takes longer than a transform.
  static std::map<unsigned, referenz::Fft> nachLaenge;
  referenz::Fft& fft = nachLaenge.try_emplace(log2n, log2n).first->second;
  fft.vor(re.data(), im.data());
  for (std::size_t k = 0; k < n; ++k) {
    const double r = re[k] * re[k] - im[k] * im[k];
    im[k] = 2.0 * re[k] * im[k];
    re[k] = r;
  }
  fft.rueck(re.data(), im.data());
  Signal y(x.size());
  for (std::size_t i = 0; i < y.size(); ++i)
    y[i] = 0.5 * im[i];
  return y;
}

Szene szene(const Vorgabe& vorgabe, const Signal& fern, const Signal& nah) {
  Szene s;
  s.vorgabe = vorgabe;
  const std::size_t laenge = proben(vorgabe.sekunden);
  const Signal gespielt = gesprochen(fern, vorgabe.fern, laenge, vorgabe.fernDb);

  Signal lautsprecher = gespielt;
  if (vorgabe.geklippt) {
    for (double& v : lautsprecher)
      v = std::clamp(v, -0.1, 0.1);
  }
  const auto imRaum = [&](std::uint64_t raum) {
    Signal y = gefaltet(lautsprecher, raumantwort(vorgabe.rt60, raum));
    for (double& v : y)
      v *= verhaeltnis(vorgabe.echoDb);
    return y;
  };
  Signal imMikro = imRaum(vorgabe.saat * 1000 + 1);
  if (vorgabe.raumwechsel) {
    const Signal anderer = imRaum(vorgabe.saat * 1000 + 2);
    const auto ab = static_cast<std::ptrdiff_t>(proben(*vorgabe.raumwechsel));
    std::copy(anderer.begin() + ab, anderer.end(), imMikro.begin() + ab);
  }
  s.echo.resize(laenge);
  verzoegertAb(imMikro, vorgabe.verzoegerungMs, 0, s.echo);
  if (vorgabe.sprung) {
    verzoegertAb(imMikro, vorgabe.sprung->second, proben(vorgabe.sprung->first), s.echo);
  }
  s.echo = vorgabe.imTakt ? imTakt(s.echo, vorgabe.driftPpm) : verstimmt(s.echo, vorgabe.driftPpm);
  s.nah = gesprochen(nah, vorgabe.nah, laenge, 0.0);

  Zufall zufall(vorgabe.saat * 1000 + 3);
  const double rauschen = verhaeltnis(vorgabe.rauschDb);
  for (std::size_t i = 0; i < laenge; ++i) {
    s.mikro.push_back(gerundet(s.nah[i] + s.echo[i] + rauschen * zufall.normal()));
    s.referenz.push_back(gerundet(gespielt[i]));
  }
  return s;
}

Szene szene(const Vorgabe& vorgabe) {
  return szene(vorgabe, kunstsprache(vorgabe.sekunden, vorgabe.saat * 1000 + 4),
               kunstsprache(vorgabe.sekunden, vorgabe.saat * 1000 + 5));
}

std::vector<Vorgabe> kurzePlaene() {
  const std::vector<Abschnitt> immer{{0.0, 60.0}};
  std::vector<Vorgabe> p;
  p.push_back({.name = "fern", .fern = immer, .saat = 1});
  p.push_back({.name = "doppelrede",
               .fern = {{0.0, 9.0}},
               .nah = {{5.0, 12.0}},
               .verzoegerungMs = 187.0,
               .rauschDb = -60.0,
               .saat = 2});
  p.push_back({.name = "nah", .nah = {{1.0, 11.0}}, .saat = 3});
  p.push_back({.name = "spaet",
               .fern = immer,
               .nah = {{8.0, 10.0}},
               .verzoegerungMs = 700.0,
               .rt60 = 0.5,
               .saat = 4});
  p.push_back({.name = "sprung",
               .sekunden = 16.0,
               .fern = immer,
               .verzoegerungMs = 40.0,
               .sprung = std::pair{8.0, 300.0},
               .saat = 5});
  p.push_back({.name = "raumwechsel", .fern = immer, .rt60 = 0.2, .raumwechsel = 6.0, .saat = 6});
  p.push_back({.name = "rauschen", .fern = immer, .rauschDb = -40.0, .saat = 7});
  p.push_back({.name = "geklippt", .fern = immer, .echoDb = 6.0, .geklippt = true, .saat = 8});
  p.push_back({.name = "leise", .fern = immer, .nah = {{4.0, 8.0}}, .fernDb = -50.0, .saat = 9});
  p.push_back({.name = "drift", .sekunden = 14.0, .fern = immer, .driftPpm = 100.0, .saat = 10});
  return p;
}

}  // namespace hallkorb::szenen
