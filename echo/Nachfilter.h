// Removes from the spectrum what the adaptive filter leaves of the echo, and marks speech.
//
// No linear filter follows a loudspeaker that distorts or a room in which people move; 20 to 30 dB
// are usual, and the rest is still intelligible. So every block's residual is weighted bin by bin:
// down to -12 dB for bins that the echo may explain, and to between -25 and -35 dB (the gate) while
// only echo is heard. A near end cut off at its first consonant sounds worse than any echo, so a
// block is decided on 16 blocks (256 ms) later, when it is known whether speech began in between,
// and the gate stays open for 20 blocks (320 ms) after the last speech. With the overlap of the
// frames this delays the output by 17 blocks.
//
// Works on frames of 512 samples at 16 kHz, half overlapping, under a square-root Hann window;
// samples on the scale of 16-bit integers. One thread at a time; nothing is allocated after
// construction.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "echo/DFeld.h"
#include "echo/kernels/Kernsatz.h"
#include "echo/PaarFFT.h"

namespace hallkorb {

class Nachfilter {
 public:
  // Delay of the output in blocks.
  static constexpr std::int64_t verzoegerungBloecke = 17;

  // Shares the canceller's transform, which must outlive it.
  explicit Nachfilter(PaarFFT& fft);

  // The next block of the residual and of the echo estimate that was taken out (N samples each);
  // `leak` is the canceller's leakage estimate. Writes the N samples of the block 17 calls before.
  void block(const double* residuum, const double* echo, double leak, double* ausgabe);

  // Of the last block returned: whether it holds near-end speech, is gated, is held open.
  [[nodiscard]] bool letzteSprache() const { return letzteSprache_; }
  [[nodiscard]] bool tor() const { return tor_; }
  [[nodiscard]] std::int64_t nahHalt() const { return nahHalt_; }
  // Gated and held blocks so far.
  [[nodiscard]] std::int64_t torBloecke() const { return torBloecke_; }
  [[nodiscard]] std::int64_t nahBloecke() const { return nahBloecke_; }

 private:
  friend struct NachfilterEinblick;

  // A block on its way through the look-ahead.
  struct Vorschaublock {
    DFeld er{kern::ZEILE};  // spectrum of the residual
    DFeld ei{kern::ZEILE};
    DFeld r{kern::ZEILE};  // its share of residual echo, as power
    DFeld p{kern::ZEILE};  // power of the echo estimate
    bool nah = false;
    bool echo = false;
  };

  void analysieren(const double* residuum, const double* echo, Vorschaublock& neu);
  void bewerten(double leak, Vorschaublock& neu);
  void entscheiden(const Vorschaublock& alt, std::int64_t t);
  [[nodiscard]] bool nahVoraus() const;
  void restLernen(const Vorschaublock& alt);
  void synthese(Vorschaublock& alt, double* ausgabe);

  // Residual echo is taken for twice its estimate: too much costs a little speech, too little is
  // heard as echo.
  static constexpr double c = 2.0;
  // Near-end speech is what stands out by this from noise and residual echo together, dB.
  static constexpr double theta = 6.0;
  // The room's decay: residual echo falls by at most 1.2 dB in a block of 16 ms.
  static constexpr double nachhall = 0.75;
  // Lowest gain while the gate is open, and highest while it is closed, dB.
  static constexpr double gminOffen = -12.0;
  static constexpr double torDb = -25.0;
  // How fast a closed gate learns the residual echo: 20 blocks.
  static constexpr double rhoRate = 0.05;
  // Speech and echo are separated between 312 Hz and 4 kHz, where speech has its energy.
  static constexpr std::size_t bandLo = 10;
  static constexpr std::size_t bandHi = 128;
  // Look-ahead and hold, in blocks.
  static constexpr std::size_t vorschau = 16;
  static constexpr std::int64_t halt = 20;

  PaarFFT& fft;
  const kern::Kernsatz& k;
  DFeld fenster;
  DFeld eHist, yHist, ola;
  DFeld gain, restAvg, rausch, rho;
  // 1 for the bins from bandLo to bandHi, 0 for all others.
  DFeld band;
  DFeld br, bi;

  bool rauschBereit = false;

  // The look-ahead as a ring: `aeltester` is the next to leave.
  std::array<Vorschaublock, vorschau + 1> schlange;
  std::size_t aeltester = 0;
  std::size_t anzahl = 0;

  std::optional<std::int64_t> nahZuletzt;
  std::int64_t tNach = 0;
  std::int64_t nahHalt_ = 0;
  bool tor_ = false;
  bool letzteSprache_ = false;
  std::int64_t torBloecke_ = 0;
  std::int64_t nahBloecke_ = 0;
};

}  // namespace hallkorb
