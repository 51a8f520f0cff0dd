// The supervision of one capture: what its thread does, step by step, from the connection to the
// daemon to the block that reaches the listener.
//
// Every step looks at what is there and does what is due: connect, choose the device, make the
// stream or take it down, hand blocks over (brought onto the host's clock, Hosttakt.h), report an
// interruption. It follows no sequence of states, so whatever the daemon, the session manager, the
// user and the devices do, in any order, cannot leave it stuck in one.
//
// A client of PipeWire does not decide what its stream records: the session manager links it, and
// any program may link it anew. So blocks wait in the ring until the graph shows that their stream
// is linked to the right device. Then the stream is verified, and they are handed over.
//
// One thread; only `wecker` connects it with the others.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "platform/AudioInput.h"
#include "platform/clock/Hosttakt.h"
#include "platform/linux/audio/BlockRing.h"
#include "platform/linux/audio/PipewireQuelle.h"
#include "platform/linux/audio/PipewireStrom.h"
#include "platform/linux/audio/PipewireVerbindung.h"
#include "platform/linux/Deskriptor.h"

namespace hallkorb {

class PipewireAufsicht {
 public:
  // A step is due whenever `wecker` wakes, and after this time at the latest.
  static constexpr std::chrono::milliseconds TAKT{50};

  // Both must outlive this object. `wecker` is set when there is something to do.
  PipewireAufsicht(PipewireQuelle quelle, AudioInputListener& listener, const Wecker& wecker);
  ~PipewireAufsicht();
  PipewireAufsicht(const PipewireAufsicht&) = delete;
  PipewireAufsicht& operator=(const PipewireAufsicht&) = delete;

  void schritt();
  // Whether a block has been handed over.
  [[nodiscard]] bool begonnen() const { return begonnen_; }
  // Why the start has failed, once it has.
  [[nodiscard]] std::optional<Fehler> startFehler() const;
  // Ends the capture and hands over what has been captured so far.
  void ende();

 private:
  using Uhr = std::chrono::steady_clock;
  using Zeitpunkt = Uhr::time_point;

  void verbinde(Zeitpunkt jetzt);
  void pruefe(Zeitpunkt jetzt);
  [[nodiscard]] std::optional<PipewireVerzeichnis::Knoten> ziel();
  void frischeAuf(bool ohneZiel, Zeitpunkt jetzt);
  void pruefeStrom(const PipewireVerzeichnis::Knoten& ziel, Zeitpunkt jetzt);
  void beginneStrom(const PipewireVerzeichnis::Knoten& ziel, Zeitpunkt jetzt);
  void pruefeEnde();
  void pruefeHerkunft();
  void pruefeVorrang(Zeitpunkt jetzt);
  void pruefeStille(Zeitpunkt jetzt);
  void uebergib(std::size_t hoechstens);
  void gib(const BlockRing::StromBlock& eintrag);
  void melde();

  const PipewireQuelle quelle_;
  AudioInputListener& listener_;
  const Wecker& wecker_;
  const Zeitpunkt anfang_ = Uhr::now();

  BlockRing ring_;
  Hosttakt takt_;                // between the ring and the listener
  std::uint64_t taktStrom_ = 0;  // the stream whose blocks it holds
  std::unique_ptr<PipewireVerbindung> verbindung_;
  std::optional<Zeitpunkt> verbindungsVersuch_;
  // When the default devices are requested next, the time from then to the one after, and what
  // was seen when that began to grow.
  Zeitpunkt auffrischen_{};
  Zeitpunkt::duration auffrischAbstand_{};
  std::uint64_t geseheneProgramme_ = 0;
  bool warOhneZiel_ = false;
  std::optional<Zeitpunkt> antwortSeit_;  // when the daemon first reported all that is there
  std::unique_ptr<PipewireStrom> strom_;
  std::optional<PipewireVerzeichnis::Knoten> stromZiel_;  // of the last stream
  Zeitpunkt stromSeit_{};
  std::uint64_t stromNummer_ = 0;
  // Numbers of the verified streams: the present one, and earlier ones whose last blocks may still
  // wait in the ring.
  std::set<std::uint64_t> gepruefte_;
  std::optional<Zeitpunkt> gefragt_;  // while silent: when the daemon last owed an answer

  pid_t gepruefterFaden_ = 0;  // whose priority has been checked

  std::optional<Fehler> grund_;  // why no blocks come
  Zeitpunkt letzterBlock_{};
  bool begonnen_ = false;
  bool unterbrochen_ = false;
};

}  // namespace hallkorb
