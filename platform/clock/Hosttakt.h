// Captured blocks on their way from a device to a channel, brought onto the host's clock: true
// times instead of stamps (Stempelfilter.h), and a rate without drift (Gleichlauf.h). The timeline
// behind it has nothing left to correct but sound that was really lost.
//
// It belongs to the platform, between the device's thread and the listener: what lies behind the
// seam sees blocks of a perfect device. The host's clock itself stays what it is, so the recording
// stays in step with the wall clock and with the pictures.
//
// A sample that is no number (NaN, infinite) becomes silence: filters with a memory, the echo
// canceller's first of all, would never forget it, and nothing behind them would come right again.
//
// A block goes on at once, uncopied, unless it has such a sample or its place is not known yet: in
// the first 0.15 s of a stream, or if its stamp is late. Such blocks are kept, up to 0.15 s of
// sound and three blocks, and handed on in their order. The owner says when no more is to be
// expected (leere()), so that nothing is left behind: at the stop, when the source goes away, and
// when no block has come for the time of a pause(). A change of the format is noticed here.
//
// One thread at a time, the capture's; no lock. Memory is allocated only with the first block of a
// format, and for a block to be copied that is longer than any graph cycle in use.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <vector>

#include "platform/clock/Gleichlauf.h"
#include "platform/clock/Stempelfilter.h"
#include "platform/PcmBlock.h"

namespace hallkorb {

class Hosttakt {
 public:
  using Weiter = Gleichlauf::Weiter;

  // `weiter` gets the blocks, during nimm() and leere().
  explicit Hosttakt(Weiter weiter);

  // The next captured block.
  void nimm(const PcmBlock& block);
  // The stream has ended or pauses: hands on all that is held. The next block begins another
  // stream.
  void leere();
  // Whether leere() would have to do anything.
  [[nodiscard]] bool leer() const { return !laeuft_; }
  // How long no block has to come for the stream to pause: longer than the last one takes, so that
  // long blocks are not a stream each.
  [[nodiscard]] std::chrono::milliseconds pause() const { return pause_; }

 private:
  // A block that waits; its samples lie in speicher_.
  struct Gemerkt {
    PcmBlock block;
    std::size_t ab = 0;
  };

  void richteEin(const PcmFormat& format);
  [[nodiscard]] PcmBlock geheilt(const PcmBlock& block);
  [[nodiscard]] bool hatPlatz(const PcmBlock& block);
  void behalte(const PcmBlock& block);
  void loese(bool alles);
  void gibVordersten(const Stempelfilter::Ort& ort);

  Weiter weiter_;
  Stempelfilter filter_;
  Gleichlauf gleichlauf_;
  bool laeuft_ = false;
  std::chrono::milliseconds pause_{0};
  PcmFormat format_;
  std::vector<float> heil_;  // a block without its samples that are no numbers
  std::vector<float> speicher_;
  std::size_t anfang_ = 0;  // of what waits in speicher_
  std::size_t ende_ = 0;
  std::array<Gemerkt, Stempelfilter::HOECHSTENS> gemerkte_;
  std::size_t vorn_ = 0;
  std::size_t anzahl_ = 0;
};

}  // namespace hallkorb
