// The calls into the audio engine that the microphone takes, each as small as the system has it.
//
// What is called when is decided in MikrofonGeraet; here is only what must be on a Mac.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/Fehler.h"
#include "platform/macos/AudioGeraet.h"
#include "platform/macos/Fehlertexte.h"

namespace hallkorb {

class EngineAufrufe {
 public:
  virtual ~EngineAufrufe() = default;

  // What the user has said about the microphone.
  [[nodiscard]] virtual Erlaubnis erlaubnis() = 0;
  // Asks the user; the answer comes on any thread, when they give one.
  virtual void frageErlaubnis(std::function<void(bool erteilt)> antwort) = 0;

  // A new engine, on the default input device of this moment.
  virtual void baue() = 0;
  // `veraendert` is called, on a thread of the system, when the engine has stopped itself because
  // the device's format has changed.
  virtual void beobachte(std::function<void()> veraendert) = 0;
  // Whether the device's native format has a rate and channels. Without an input device it has not.
  [[nodiscard]] virtual bool hatEingang() = 0;
  // Blocks of about `frames` frames in the native format of input bus 0 go to `empfaenger`, on the
  // engine's tap thread, for as long as that exists.
  [[nodiscard]] virtual Ergebnis setzeAbgriff(std::uint32_t frames,
                                              std::weak_ptr<BlockEmpfaenger> empfaenger) = 0;
  // Allocates what the engine needs, and starts it.
  [[nodiscard]] virtual Ergebnis starte() = 0;

  virtual void beobachteNichtMehr() = 0;
  virtual void entferneAbgriff() = 0;
  virtual void stoppe() = 0;
  virtual void gibFrei() = 0;
};

}  // namespace hallkorb
