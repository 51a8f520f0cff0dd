#include "echo/Nachfilter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace hallkorb {

using kern::HALB;
using kern::K;
using kern::N;
using kern::ZEILE;

namespace {

// The canceller's estimate of the leakage is not trusted below -15 dB.
constexpr double LECK_BODEN = 0.03162277660168379;
// Lowest gain of a gated block, -35 dB.
constexpr double GMIN_TOR = 0.01778279410038923;
// Bins whose echo is 30 dB below the strongest teach nothing about the residual.
constexpr double RHO_SCHWELLE = 0.001;
// The echo counts as heard from half of the noise's power on.
constexpr double ECHO_HOERBAR = 0.5;

constexpr auto laenge(std::size_t n) {
  return static_cast<std::int64_t>(n);
}

}  // namespace

Nachfilter::Nachfilter(PaarFFT& transformation)
    : fft(transformation),
      k(kern::bester()),
      fenster(laenge(K)),
      eHist(laenge(N)),
      yHist(laenge(N)),
      ola(laenge(N)),
      gain(laenge(ZEILE)),
      restAvg(laenge(ZEILE)),
      rausch(laenge(ZEILE)),
      rho(laenge(ZEILE)),
      band(laenge(ZEILE)),
      br(laenge(ZEILE)),
      bi(laenge(ZEILE)) {
  for (std::size_t i = 0; i < K; ++i) {
    const double winkel = 2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(K);
    fenster[i] = std::sqrt(0.5 - 0.5 * std::cos(winkel));
  }
  std::fill_n(gain.p, ZEILE, 1.0);
  std::fill(band.p + bandLo, band.p + bandHi + 1, 1.0);
}

void Nachfilter::block(const double* residuum, const double* echo, double leak, double* ausgabe) {
  Vorschaublock& neu = schlange[(aeltester + anzahl) % schlange.size()];
  analysieren(residuum, echo, neu);
  bewerten(leak, neu);
  ++anzahl;
  ++tNach;

  if (anzahl <= vorschau) {
    // The look-ahead is not full yet: silence.
    std::copy_n(ola.p, N, ausgabe);
    ola.null();
    letzteSprache_ = false;
    return;
  }
  Vorschaublock& alt = schlange[aeltester];
  aeltester = (aeltester + 1) % schlange.size();
  --anzahl;
  letzteSprache_ = alt.nah;
  entscheiden(alt, tNach - laenge(vorschau) - 1);
  if (tor_) restLernen(alt);
  synthese(alt, ausgabe);
}

// Spectra of both frames; the echo's goes to br and bi.
void Nachfilter::analysieren(const double* residuum, const double* echo, Vorschaublock& neu) {
  k.rahmen(eHist.p, residuum, fenster.p, fft.re);
  k.rahmen(yHist.p, echo, fenster.p, fft.im);
  fft.vor({neu.er.p, neu.ei.p}, {br.p, bi.p});
}

// Noise floor, residual echo, and what the block seems to hold: speech, echo.
void Nachfilter::bewerten(double leak, Vorschaublock& neu) {
  if (!rauschBereit) {
    for (std::size_t i = 0; i < HALB; ++i) {
      rausch[i] = neu.er[i] * neu.er[i] + neu.ei[i] * neu.ei[i] + 1.0;
    }
    rauschBereit = true;
  }
  static const double ABSTAND = std::pow(10.0, theta / 10.0);
  const double l = std::max(leak, LECK_BODEN);
  const auto [SPe, SPy, SN] =
      k.rauschenUndRest({neu.er.p, neu.ei.p}, {br.p, bi.p}, l, c, nachhall, band.p,
                        {rausch.p, restAvg.p, rho.p}, neu.r.p, neu.p.p);
  neu.nah = SPe > ABSTAND * (SN + c * l * SPy);
  neu.echo = SPy > ECHO_HOERBAR * SN;
}

bool Nachfilter::nahVoraus() const {
  for (std::size_t i = 0; i < anzahl; ++i) {
    if (schlange[(aeltester + i) % schlange.size()].nah) return true;
  }
  return false;
}

// Hold and gate for the block with the index t.
void Nachfilter::entscheiden(const Vorschaublock& alt, std::int64_t t) {
  bool hold = false;
  bool gate = false;
  if (alt.nah) {
    nahZuletzt = t;
    hold = true;
  } else if (nahVoraus()) {
    hold = true;
  } else if (!nahZuletzt) {
    gate = alt.echo;
  } else {
    hold = t - *nahZuletzt <= halt;
    gate = alt.echo && !hold;
  }
  tor_ = gate;
  nahHalt_ = hold ? 1 : 0;
  if (gate) ++torBloecke_;
  if (hold) ++nahBloecke_;
}

// A gated block holds only echo: its residual shows how much of it the filter leaves.
void Nachfilter::restLernen(const Vorschaublock& alt) {
  const double staerkste = *std::max_element(alt.p.p, alt.p.p + HALB);
  k.rhoLernen({alt.er.p, alt.ei.p}, alt.p.p, rausch.p, RHO_SCHWELLE * (staerkste + 1e-9), rhoRate,
              rho.p);
}

// Gain and overlap-add. Overwrites the spectrum of `alt`.
void Nachfilter::synthese(Vorschaublock& alt, double* ausgabe) {
  static const double GMIN_OFFEN = std::pow(10.0, gminOffen / 20.0);
  static const double GT = std::pow(10.0, torDb / 20.0);
  const kern::Spektrum er{alt.er.p, alt.ei.p};
  k.verstaerken(er, alt.r.p, tor_ ? GMIN_TOR : GMIN_OFFEN, tor_ ? GT : 1.0, gain.p, er);
  fft.rueckEinzeln(er);
  k.ueberlappen(fft.re, fenster.p, ola.p, ausgabe);
}

}  // namespace hallkorb
