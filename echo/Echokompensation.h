// Takes out of the microphone what the loudspeakers played.
//
// A partitioned frequency-domain adaptive filter (J.-S. Soo and K. K. Pang, "Multidelay block
// frequency domain adaptive filter", 1990) with two filters: the background filter W adapts on
// every block; the foreground filter F makes the output and is replaced by W only when W has proved
// better. When W diverges, it is reset to F (K. Ochiai, T. Araseki and T. Ogihara, "Echo canceler
// with two echo path models", 1977). So double talk may spoil W, but not what is heard. How fast W
// may learn is decided bin by bin, from the share of the echo that leaks into the error (J.-M.
// Valin, "On adjusting the learning rate in frequency domain echo cancellation with double-talk",
// 2007). Partitions with more energy learn faster, above all the early ones.
//
// Units: samples at 16 kHz on the scale of 16-bit integers; blocks of N = 256 samples (16 ms);
// transforms of K = 512 points; P partitions cover P x 16 ms of echo. Real signals have symmetric
// spectra, so only bins 0 to 256 are kept.
//
// After a failure the output is not finite; the caller replaces the block and calls resetFilter.
// One thread at a time; nothing is allocated after construction.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "echo/DFeld.h"
#include "echo/kernels/Kernsatz.h"
#include "echo/Nachfilter.h"
#include "echo/PaarFFT.h"

namespace hallkorb {

// The block length, the transform length and the sample rate of all echo code.
inline constexpr std::int64_t EK_N = 256;
inline constexpr std::int64_t EK_K = 512;
inline constexpr double EK_R = 16000.0;

class Echokompensation {
 public:
  // Writes the reference frame (K samples) of the block that is j blocks before the last one.
  using Rahmenquelle = std::function<void(std::int64_t j, std::span<double> f)>;

  // Where in the filter the echo is placed, in samples: three blocks from its start, so that a
  // delay estimated somewhat too long does not push the echo's beginning out.
  static constexpr std::int64_t vorlauf = 768;

  // `partitionen` is at least 1.
  explicit Echokompensation(std::int64_t partitionen);

  // Cleans the next N microphone samples. `ref` is the reference frame that belongs to them: K
  // samples, the previous and the current block, pre-emphasised. Returns N samples, late by
  // verzoegerungBloecke() blocks and valid until the next call.
  std::span<const double> block(std::span<const double> mic, std::span<const double> ref);

  // From now on the reference is aligned s partitions later (earlier if negative): moves both
  // filters and rebuilds the reference's history from `rahmen` for j = 0 (the last block) to P, as
  // if the new alignment had always held.
  void versetzen(std::int64_t s, const Rahmenquelle& rahmen);

  // Forgets both filters and starts over; the smoothed spectra and the post-filter stay.
  void resetFilter();

  // Whether the post-filter runs. Without it the output has no latency, and every block counts as
  // speech.
  void nachfilterAn(bool an) { nachfilterAn_ = an; }
  [[nodiscard]] bool nachfilterAn() const { return nachfilterAn_; }
  [[nodiscard]] std::int64_t verzoegerungBloecke() const {
    return nachfilterAn_ ? Nachfilter::verzoegerungBloecke : 0;
  }

  [[nodiscard]] std::int64_t partitionen() const { return static_cast<std::int64_t>(P); }
  // Whether the last block returned holds near-end speech.
  [[nodiscard]] bool letzteSprache() const { return letzteSprache_; }
  // Share of the echo's power that remains in the error.
  [[nodiscard]] double leak() const { return leak_; }
  // Blocks so far; copies of W to F; of F to W; full resets; consecutive blocks that failed.
  [[nodiscard]] std::int64_t bloecke() const { return bloecke_; }
  [[nodiscard]] std::int64_t vgKopien() const { return vgKopien_; }
  [[nodiscard]] std::int64_t hgReset() const { return hgReset_; }
  [[nodiscard]] std::int64_t resets() const { return resets_; }
  [[nodiscard]] std::int64_t screwed() const { return screwed_; }
  [[nodiscard]] const Nachfilter& nachfilter() const { return nachfilter_; }

 private:
  friend struct EchokompensationEinblick;

  // The sums of one block, named as in the literature: x reference, f foreground error, e error,
  // y echo, d microphone.
  struct Energien {
    double Sxx = 0.0, Sff = 0.0, See = 0.0, Dbf = 0.0, Sey = 0.0, Syy = 0.0, Sdd = 0.0;
  };
  // The echo and error that the adaptation learns from.
  struct Paar {
    const double* y;
    const double* e;
  };

  void referenzAufnehmen(std::span<const double> ref);
  void gewichten();
  void hintergrundAnpassen();
  void beschraenken(std::size_t j0, std::size_t j1);
  void echosSchaetzen(Energien& s);
  Paar vergleichen(Energien& s);
  void pruefen(const Energien& s);
  void spektrenBilden(Paar paar, kern::Spektrum E, kern::Spektrum Y);
  void schrittweiteBestimmen(Paar paar, const Energien& s);
  void leckSchaetzen(double pe, double py, double Syy, double See);

  [[nodiscard]] kern::Spektrum zeile(DFeld& filter, std::size_t j) const;

  const std::size_t P;
  bool nachfilterAn_ = true;
  const kern::Kernsatz& k;
  PaarFFT fft;

  // Rows of 2 x ZEILE values: real parts, then imaginary parts. X is a ring of P + 1 rows; x points
  // to them, newest first.
  DFeld X, W, F;
  std::vector<double*> x;
  DFeld power, power1;
  DFeld Er, Ei, Yr, Yi, Br, Bi;
  DFeld Eh, Yh, Rf, Yf;
  double Pey = 1.0, Pyy = 1.0;
  double Davg1 = 0.0, Davg2 = 0.0, Dvar1 = 0.0, Dvar2 = 0.0;
  bool adapted = false;
  double sumAdapt = 0.0;
  double leak_ = 0.0;
  std::int64_t screwed_ = 0;
  DFeld prop, propReihe, prior;
  kern::VorfilterZustand vorfilter{0.0, 0.0, 0.0};
  double deM = 0.0;
  DFeld fade;
  // Signals of the block: microphone, echo estimates and errors of both filters, output.
  DFeld d, yf, yb, ef, eb, out;
  DFeld leer;  // a spectrum of zeros, for a partition without a partner

  bool letzteSprache_ = false;
  std::int64_t bloecke_ = 0, vgKopien_ = 0, hgReset_ = 0, resets_ = 0;
  Nachfilter nachfilter_;
};

}  // namespace hallkorb
