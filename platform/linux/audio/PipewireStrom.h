// One capture stream, from the audio graph into the ring.
//
// The real-time thread copies a block, its time and its format and returns: a client that is late
// by one graph cycle (21 ms as a rule) has lost it. Everything else is the capture thread's
// business.
//
// Format: 32-bit floats, interleaved. The microphone's rate and channels are left open, so that the
// device's own come through unconverted; asking for one channel would mix them. System audio asks
// for 48 kHz stereo. Of either the first channel alone goes on (BlockRing.h).
//
// Time of a block's first sample: the graph's time of this cycle, less the delay of the samples on
// their way from the device to here. A device reports that delay if it knows it; what it delivers
// in a cycle was in any case captured during the cycle before, so the delay is at least one block,
// as long as the stream's first: any client can change the graph's block length by asking for
// another latency, and the samples still follow one another. What the graph's own resampler
// holds is added. The time of the callback is useless: it jitters by milliseconds.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/audio/BlockRing.h"
#include "platform/linux/audio/Graphlage.h"
#include "platform/linux/audio/Pipewire.h"
#include "platform/linux/audio/PipewireQuelle.h"
#include "platform/linux/audio/PipewireVerzeichnis.h"
#include "platform/linux/Deskriptor.h"

namespace hallkorb {

class PipewireStrom {
 public:
  // Makes the stream and asks for its connection. The outcome shows in ende(), or in blocks in
  // `ring`, marked with `nummer`; both come with a wake-up. The microphone is bound to `ziel` and
  // gets no data once that is gone; otherwise the session manager would move it to whatever is then
  // the default, possibly a sink's monitor. System audio follows the default sink. Under the
  // connection's lock, as everything here.
  PipewireStrom(pw_core* core, PipewireQuelle quelle, const PipewireVerzeichnis::Knoten& ziel,
                std::uint64_t nummer, BlockRing& ring, const Wecker& wecker);
  // No callback runs any more when this returns.
  ~PipewireStrom();
  PipewireStrom(const PipewireStrom&) = delete;
  PipewireStrom& operator=(const PipewireStrom&) = delete;

  // The id of our own node in the graph; PW_ID_ANY until it has one.
  [[nodiscard]] std::uint32_t knoten() const;
  // The kernel's id of the thread that the blocks come from; 0 until one has come. Any thread.
  [[nodiscard]] pid_t datenfaden() const { return datenfaden_; }
  // Why the stream has ended, if it has.
  [[nodiscard]] const std::optional<std::string>& ende() const { return ende_; }

 private:
  void zustand(pw_stream_state neu, const char* fehler);
  void format(const spa_pod* param);
  void verarbeite();                                                            // real-time thread
  void uebernimm(const spa_buffer& puffer);                                     // real-time thread
  [[nodiscard]] std::optional<double> zeit(std::uint32_t frames, double rate);  // the same
  void merkeWeg(double gemeldet, double zyklus, double dauer);                  // the same

  static const pw_stream_events EREIGNISSE;

  const std::uint64_t nummer_;
  BlockRing& ring_;
  const Wecker& wecker_;
  const bool zaehltFrames_;
  std::optional<std::string> ende_;
  // Rate in the upper half, channels in the lower, in one piece because the real-time thread reads
  // it; 0 while there is none.
  std::atomic<std::uint64_t> format_{0};
  std::atomic<pid_t> datenfaden_{0};
  Graphlage lage_;
  std::atomic<bool> wegUnbekannt_{true};
  // The real-time thread's own, in seconds.
  std::optional<double> weg_;  // from a block's first frame to the time that the graph gives
  double gemeldet_ = 0.0;      // the device's delay with the last block
  double zyklus_ = 0.0;        // of the graph, with the last block
  spa_hook haken_{};
  pw_stream* stream_ = nullptr;
};

}  // namespace hallkorb
