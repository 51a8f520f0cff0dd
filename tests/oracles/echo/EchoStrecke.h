// The echo path in its literal form: buffers that are shifted, frames that are copied.
//
// The fast echo path is checked against this one. Samples are floats at 16 kHz, indices absolute
// sample counts of either stream. Everything is public for the tests.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tests/oracles/echo/Echokompensation.h"
#include "tests/oracles/echo/Verzoegerungsschaetzer.h"

namespace hallkorb::referenz {

class EchoStrecke {
 public:
  using Ausgabe = std::function<void(const std::vector<float>&, const std::vector<bool>&)>;

  explicit EchoStrecke(std::int64_t partitionen, double stoerung = 0.0);

  void nachfilter(bool an);
  void referenz(std::span<const float> samples);
  void mikro(std::span<const float> samples);
  void abschliessen();
  [[nodiscard]] std::string statistik() const;

  Echokompensation ec;
  Verzoegerungsschaetzer verz;
  static constexpr std::int64_t N = 256;
  static constexpr double s = 32768.0;
  std::vector<double> refRoh;
  std::vector<double> refPre;
  std::int64_t refBasis = 0;
  double refLetzter = 0.0;
  std::int64_t refEnde = 0;
  std::vector<double> mic;
  std::int64_t micBasis = 0;
  std::int64_t micEnde = 0;
  std::int64_t zuVerwerfen;
  std::int64_t ausgegeben = 0;
  std::vector<double> letzterRohBlock;
  bool beendet = false;
  std::int64_t delay = 0;
  std::int64_t versatz = 0;
  std::int64_t versatzWechsel = 0;
  std::int64_t ohneReferenz = 0;
  std::int64_t ausfaelle = 0;
  static constexpr std::int64_t maxVerzug = 8000;
  Ausgabe ausgabe = [](const std::vector<float>&, const std::vector<bool>&) {};

 private:
  void abarbeiten(bool erzwingen);
  void blockVerarbeiten(std::optional<std::int64_t> ende);
  [[nodiscard]] std::vector<double> rahmen(std::int64_t b) const;
};

}  // namespace hallkorb::referenz
