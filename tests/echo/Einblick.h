// Access to what the canceller keeps to itself, for tests that set up or look at its inside.
#pragma once

#include <cstddef>

#include "echo/Echokompensation.h"

namespace hallkorb {

struct NachfilterEinblick {
  static const DFeld& gain(const Nachfilter& n) { return n.gain; }
  static const DFeld& rho(const Nachfilter& n) { return n.rho; }
  static const DFeld& rausch(const Nachfilter& n) { return n.rausch; }
};

struct EchokompensationEinblick {
  Echokompensation& ec;

  // Rows of both filters and of the reference's history.
  [[nodiscard]] kern::Spektrum W(std::size_t j) const { return ec.zeile(ec.W, j); }
  [[nodiscard]] kern::Spektrum F(std::size_t j) const { return ec.zeile(ec.F, j); }
  [[nodiscard]] kern::Spektrum X(std::size_t j) const { return {ec.x[j], ec.x[j] + kern::ZEILE}; }
  [[nodiscard]] const DFeld& power1() const { return ec.power1; }
  [[nodiscard]] const DFeld& prop() const { return ec.prop; }
  [[nodiscard]] DFeld& Er() const { return ec.Er; }
  [[nodiscard]] DFeld& Ei() const { return ec.Ei; }
  [[nodiscard]] bool adapted() const { return ec.adapted; }
  [[nodiscard]] double sumAdapt() const { return ec.sumAdapt; }
  [[nodiscard]] double n0() const { return ec.vorfilter.n0; }
};

}  // namespace hallkorb
