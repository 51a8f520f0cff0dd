// The echo canceller and its post-filter in their literal form, in the order of the method.
//
// The fast canceller is checked against this one, outputs and counters; its header says what it is
// for. Whole spectra, no ring, one transform after the other. Samples are on the scale of 16-bit
// integers. Everything is public for the tests.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "tests/oracles/echo/Fft.h"

namespace hallkorb::referenz {

class Echokompensation {
 public:
  using Feld = std::vector<double>;
  static constexpr std::size_t N = 256;
  static constexpr std::size_t K = 512;
  static constexpr std::size_t H = K / 2 + 1;

  struct Eintrag {
    Feld er, ei, r, p;
    bool nah = false;
    bool echo = false;
  };

  explicit Echokompensation(std::int64_t partitionen, double stoerung = 0.0);

  std::array<double, N> block(std::span<const double> mic, std::span<const double> ref);
  void versetzen(std::int64_t s, const std::function<Feld(std::int64_t)>& frame);
  void resetFilter();

  std::array<double, N> echoSchaetzen(const Feld& Ar, const Feld& Ai);
  void beschraenken(std::size_t j);
  [[nodiscard]] std::int64_t verzoegerungBloecke() const { return nachfilterAn ? 17 : 0; }

  std::size_t P;
  static constexpr std::int64_t vorlauf = 768;
  bool nachfilterAn = true;
  Feld Xr, Xi, Wr, Wi, Fr, Fi, power, power1, Er, Ei, Eh, Yh;
  double Pey = 1.0, Pyy = 1.0;
  double Davg1 = 0.0, Davg2 = 0.0, Dvar1 = 0.0, Dvar2 = 0.0;
  bool adapted = false;
  double sumAdapt = 0.0;
  double leak = 0.0;
  std::int64_t screwed = 0;
  Fft fft;
  Feld ar, ai, br, bi;
  Feld prop, prior;
  double vorwissen = 20.0;
  double startRate = 0.25;
  double n0 = 0.0, n1 = 0.0, preD = 0.0, deM = 0.0;
  Feld fade, fenster, eHist, yHist, ola, gain, restAvg, rausch;
  bool rauschBereit = false;
  std::int64_t nahHalt = 0;
  bool tor = false;
  bool letzteSprache = false;
  double torDb = -25.0;
  std::size_t bandLo = 10, bandHi = 128;
  std::int64_t bloecke = 0, vgKopien = 0, hgReset = 0, torBloecke = 0, nahBloecke = 0, resets = 0;
  double c = 2.0, theta = 6.0, nachhall = 0.75, gminOffen = -12.0;
  std::deque<Eintrag> schlange;
  Feld rho;
  std::optional<std::int64_t> nahZuletzt;
  std::int64_t tNach = 0;

 private:
  std::array<double, N> nachfilter(const std::array<double, N>& out,
                                   const std::array<double, N>& yf);
  std::array<double, N> deemphase(std::array<double, N> output);
};

}  // namespace hallkorb::referenz
