// The life of one capture stream: built, connected, started, pointed elsewhere, ended.
//
// The service answers in its own time. How long to wait, and what to undo if an answer is an error
// or does not come, is decided here. Every stream that was asked to start is asked to stop, since
// what was asked to stop is kept until after the answer: the service may still be in a call to the
// delegate, which need not have reached us. One whose start was refused or not answered, and one
// that the service has ended, is asked without a wait: there is no time left for one that did not
// answer, and the others can only answer with an error.
//
// starte(), wechsle(), laeuft() and beende() one at a time; merkeEnde() any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/macos/screen/SckAufrufe.h"
#include "platform/macos/Wartestelle.h"

namespace hallkorb {

class SckStrom {
 public:
  // `abbau` is how long beende() waits for the service.
  SckStrom(std::unique_ptr<StromAufrufe> aufrufe, std::chrono::milliseconds abbau);
  ~SckStrom();
  SckStrom(const SckStrom&) = delete;
  SckStrom& operator=(const SckStrom&) = delete;

  // A window of `inhalt`, or its first display; `queue` is the label of the queue that delivers.
  // After an error nothing is left of the stream.
  [[nodiscard]] Ergebnis starte(const Inhalt& inhalt, std::optional<std::uint32_t> fenster,
                                const StromEinstellungen& einstellungen, StromAusgang ausgang,
                                const char* queue, std::weak_ptr<StromEmpfaenger> empfaenger,
                                const std::shared_ptr<Wartestelle>& stelle,
                                Wartestelle::Frist frist);
  [[nodiscard]] Ergebnis wechsle(const Inhalt& inhalt, std::uint32_t fenster,
                                 const std::shared_ptr<Wartestelle>& stelle,
                                 Wartestelle::Frist frist);
  // Ends the capture, waits for that and for what still runs on the queue. Returns the service's
  // answer; the stream is gone either way. May be repeated.
  Ergebnis beende();
  // The service has ended the stream.
  void merkeEnde() { beendet_ = true; }
  [[nodiscard]] bool laeuft() const { return gestartet_ && !beendet_; }

 private:
  void stoppeOhneWarten();
  void gibFrei();

  std::unique_ptr<StromAufrufe> aufrufe_;
  const std::chrono::milliseconds abbau_;
  bool gebaut_ = false;
  bool gestartet_ = false;
  std::atomic<bool> beendet_{false};
};

}  // namespace hallkorb
