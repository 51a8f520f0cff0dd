// The calls into ScreenCaptureKit, each a single call of the system, for both uses of it: the sound
// of the computer and the picture of a window.
//
// What is called when is decided in SckStrom, SystemTonGeraet, FensterStrom and MacScreenCapture;
// here is only what has to run on a Mac.
//
// Answers come once, on a queue of the system, possibly late or never.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/Fehler.h"
#include "platform/macos/screen/MacBild.h"
#include "platform/macos/screen/SckEinstellungen.h"
#include "platform/PcmBlock.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

// A snapshot of what can be captured. Immutable, any thread.
class Inhalt {
 public:
  virtual ~Inhalt() = default;
  [[nodiscard]] virtual ScreenContent fenster() const = 0;
  [[nodiscard]] virtual bool hatDisplay() const = 0;
  [[nodiscard]] virtual bool hatFenster(std::uint32_t id) const = 0;
};

// What a stream delivers. ton() and bild() come on the stream's queue, one at a time, beendet() on
// any thread.
class StromEmpfaenger {
 public:
  virtual ~StromEmpfaenger() = default;
  virtual void ton(const PcmBlock&) {}
  virtual void bild(const MacBild&) {}
  // The service ended the stream; it is finished.
  virtual void beendet(const Fehler& grund) = 0;
};

using SckFertig = std::function<void(Ergebnis)>;

// One stream of the service.
class StromAufrufe {
 public:
  virtual ~StromAufrufe() = default;

  // The stream, on a window of `inhalt` or, without `fenster`, on its first display; an error if
  // that is not in it. `empfaenger` is called for as long as it exists.
  [[nodiscard]] virtual Ergebnis baue(const Inhalt& inhalt, std::optional<std::uint32_t> fenster,
                                      const StromEinstellungen& einstellungen,
                                      std::weak_ptr<StromEmpfaenger> empfaenger) = 0;
  // Adds the output of that type, on a new serial queue with that label.
  [[nodiscard]] virtual Ergebnis verbinde(StromAusgang ausgang, const char* queue) = 0;
  virtual void starte(SckFertig fertig) = 0;
  // Goes over to another window of `inhalt`; answers with an error if that is not in it.
  virtual void wechsle(const Inhalt& inhalt, std::uint32_t fenster, SckFertig fertig) = 0;
  // The stream and what it calls are kept until a little after the service's answer, even if
  // gibFrei() comes first, and for good if it never answers.
  virtual void stoppe(SckFertig fertig) = 0;
  // Drops the stream and returns when nothing runs on its queue any more. Not on that queue.
  virtual void gibFrei() = 0;
};

class SckAufrufe {
 public:
  virtual ~SckAufrufe() = default;

  using InhaltFertig = std::function<void(std::shared_ptr<const Inhalt>, Ergebnis)>;

  // A snapshot with the windows off the screen, and with those of the desktop unless `ohneDesktop`.
  virtual void frageInhalt(bool ohneDesktop, InhaltFertig fertig) = 0;
  [[nodiscard]] virtual std::unique_ptr<StromAufrufe> strom() = 0;
};

}  // namespace hallkorb
