// The calls into the audio engine that the microphone needs, each a single call of the system.
//
// What is called when is decided in MikrofonGeraet; here is only what has to run on a Mac. The
// system raises exceptions if a device is missing or has changed meanwhile; they arrive as errors.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/Fehler.h"
#include "platform/macos/audio/AudioGeraet.h"
#include "platform/macos/Fehlertexte.h"

namespace hallkorb {

// A device's format, as far as it matters here; zeros if there is no device.
struct EngineFormat {
  double rate = 0.0;
  std::uint32_t kanaele = 0;
};

class EngineAufrufe {
 public:
  virtual ~EngineAufrufe() = default;

  // The user's decision about the microphone.
  [[nodiscard]] virtual Erlaubnis erlaubnis() = 0;
  // Asks the user; the answer comes on any thread, once they give one.
  virtual void frageErlaubnis(std::function<void(bool erteilt)> antwort) = 0;

  // A new engine, on the default input device of this moment.
  virtual void baue() = 0;
  // `veraendert` is called, on a thread of the system, when the device's format has changed: then
  // the engine has stopped itself. It is also called after some changes that opening the device
  // makes; the engine then still runs.
  virtual void beobachte(std::function<void()> veraendert) = 0;
  // The native format of input bus 0.
  [[nodiscard]] virtual Ergebnis liesFormat(EngineFormat& format) = 0;
  // Blocks of about `frames` frames in the native format of input bus 0 go to `empfaenger`, on the
  // engine's tap thread, for as long as that exists.
  [[nodiscard]] virtual Ergebnis setzeAbgriff(std::uint32_t frames,
                                              std::weak_ptr<BlockEmpfaenger> empfaenger) = 0;
  // Allocates what the engine needs, and starts it.
  [[nodiscard]] virtual Ergebnis starte() = 0;
  [[nodiscard]] virtual bool laeuft() = 0;

  virtual void beobachteNichtMehr() = 0;
  [[nodiscard]] virtual Ergebnis entferneAbgriff() = 0;
  [[nodiscard]] virtual Ergebnis stoppe() = 0;
  virtual void gibFrei() = 0;
};

}  // namespace hallkorb
