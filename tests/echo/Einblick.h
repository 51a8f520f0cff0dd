// Access to private state of canceller and echo path, for tests that set it up or check it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "echo/Echokompensation.h"
#include "echo/EchoStrecke.h"

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
  // The variances in the comparison of both filters, and the foreground's error.
  [[nodiscard]] double& Dvar1() const { return ec.Dvar1; }
  [[nodiscard]] double& Dvar2() const { return ec.Dvar2; }
  [[nodiscard]] const DFeld& ef() const { return ec.ef; }
};

struct EchoStreckeEinblick {
  EchoStrecke& strecke;

  // What is held of the reference, and its first sample's absolute position.
  [[nodiscard]] std::span<const double> refRoh() const { return strecke.refRoh.werte(); }
  [[nodiscard]] std::span<const double> refPre() const { return strecke.refPre.werte(); }
  [[nodiscard]] std::int64_t refBasis() const { return strecke.refBasis; }
  // Acts as if a delay of D samples had been reported in block b.
  void ausrichten(std::int64_t D, std::int64_t b) const { strecke.ausrichten(D, b); }
};

}  // namespace hallkorb
