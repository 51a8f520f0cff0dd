// The echo stage as the rest of the program sees it: two streams in, the cleaned microphone out.
//
// Reference (what the computer plays) and microphone share a time axis, but come in pieces of any
// length and at different moments: capture and playback have buffers of their own. The microphone
// is cut into blocks of 256 samples. A block waits until the reference of the same moment has
// arrived, or until the microphone is half a second ahead, since a recording must go on without a
// reference. The reference is shifted by whole blocks, by the delay estimator's report, and the
// canceller does the rest. The output is in step with the microphone, sample for sample, and
// exactly as long.
//
// Samples are mono floats at 16000 Hz in [-1, 1]; inside they are doubles on the scale of 16-bit
// integers. Positions are absolute sample counts of either stream. Not synchronised: one thread or
// queue at a time; the output callback runs on it, inside referenz, mikro or abschliessen. Once the
// buffers have reached their size nothing is allocated.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Vorrat.h"
#include "echo/DFeld.h"
#include "echo/Echokompensation.h"
#include "echo/Verzoegerungsschaetzer.h"

namespace hallkorb {

// The length of the program's echo filter in partitions: 320 ms of room.
inline constexpr std::int64_t EK_PARTITIONEN = 20;

class EchoStrecke {
 public:
  // A cleaned piece, never empty, and for each sample whether it belongs to near-end speech. Both
  // are valid only during the call.
  using Empfaenger = std::function<void(std::span<const float>, const std::vector<bool>&)>;

  // Cancels echoes of up to `partitionen` x 16 ms.
  explicit EchoStrecke(std::int64_t partitionen);

  // Switches the post-filter, which is on by default. Before any audio is fed.
  void nachfilter(bool an);

  // The next samples of either stream. Ignored after abschliessen.
  void referenz(std::span<const float> samples);
  void mikro(std::span<const float> samples);

  // Ends the stream: processes what is held, with or without reference, and hands out the rest of
  // the output. Ignored if repeated.
  void abschliessen();

  // {"event":"echo",...}: delay, alignment, leakage, shares of gated and held blocks, counters.
  [[nodiscard]] std::string statistik() const;

  // Receives the output; set by the owner before anything is fed.
  Empfaenger ausgabe = [](std::span<const float>, const std::vector<bool>&) {};

  [[nodiscard]] const Echokompensation& kompensation() const { return ec; }
  // The last delay estimate in samples, the applied delay in blocks and how often it changed.
  [[nodiscard]] std::int64_t delay() const { return delay_; }
  [[nodiscard]] std::int64_t versatz() const { return versatz_; }
  [[nodiscard]] std::int64_t versatzWechsel() const { return versatzWechsel_; }
  // Blocks processed before their reference had arrived; blocks whose output was not finite.
  [[nodiscard]] std::int64_t ohneReferenz() const { return ohneReferenz_; }
  [[nodiscard]] std::int64_t ausfaelle() const { return ausfaelle_; }
  [[nodiscard]] bool beendet() const { return beendet_; }

 private:
  friend struct EchoStreckeEinblick;

  void abarbeiten(bool erzwingen);
  void referenzKuerzen();
  void blockVerarbeiten(std::optional<std::int64_t> ende);
  std::span<const double> gereinigt(std::int64_t b, std::span<const double> m);
  void ausrichten(std::int64_t D, std::int64_t b);
  void ausgeben(std::span<const double> out, bool sprache, std::optional<std::int64_t> ende);
  void ausschneiden(const Vorrat<double>& vorrat, std::int64_t von, std::span<double> ziel) const;
  void rahmen(std::int64_t b, std::span<double> f) const;

  static constexpr std::int64_t N = EK_N;
  static constexpr double s = 32768.0;
  // How far the microphone may run ahead of the reference, in samples.
  static constexpr std::int64_t maxVerzug = 8000;

  Echokompensation ec;
  Verzoegerungsschaetzer verz;
  // The reference as it came and pre-emphasised, from absolute position refBasis on.
  Vorrat<double> refRoh;
  Vorrat<double> refPre;
  std::int64_t refBasis = 0;
  double refLetzter = 0.0;
  std::int64_t refEnde = 0;
  // The microphone from micBasis on, a multiple of N.
  Vorrat<double> mic;
  std::int64_t micBasis = 0;
  std::int64_t micEnde = 0;
  // Output samples still to be discarded: the canceller's latency.
  std::int64_t zuVerwerfen;
  std::int64_t ausgegeben = 0;
  DFeld letzterRohBlock;
  DFeld micBlock;
  DFeld refBlock;
  DFeld refRahmen;
  std::vector<float> ausBlock;
  std::vector<bool> ausMaske;
  bool beendet_ = false;
  std::int64_t delay_ = 0;
  std::int64_t versatz_ = 0;
  std::int64_t versatzWechsel_ = 0;
  std::int64_t ohneReferenz_ = 0;
  std::int64_t ausfaelle_ = 0;
};

}  // namespace hallkorb
