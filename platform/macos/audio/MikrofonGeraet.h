// The microphone: the order in which the audio engine is queried, set up and taken down.
//
// The permission comes first, because the engine would start without one and deliver silence. An
// engine is made anew for each opening: one that has lost its device keeps the old device's format,
// and a tap in a format that the device does not have raises an exception.
//
// The thread that opened the engine finds out whether a change has stopped it, not the callback
// that reports the change: an engine that is released there waits for itself.
//
// Threads as in AudioGeraet.h.
#pragma once

#include <memory>

#include "platform/macos/audio/AudioGeraet.h"
#include "platform/macos/audio/EngineAufrufe.h"

namespace hallkorb {

class MikrofonGeraet final : public AudioGeraet {
 public:
  // Frames of a block that are asked for; the engine gives between a tenth and four tenths of a
  // second.
  static constexpr std::uint32_t FRAMES = 4096;

  explicit MikrofonGeraet(std::unique_ptr<EngineAufrufe> engine);

  [[nodiscard]] Ergebnis oeffne(std::weak_ptr<BlockEmpfaenger> empfaenger,
                                const std::shared_ptr<Wartestelle>& stelle,
                                Wartestelle::Frist frist) override;
  [[nodiscard]] bool laeuft() override;
  Ergebnis schliesse() override;

 private:
  [[nodiscard]] Ergebnis holeErlaubnis(const std::shared_ptr<Wartestelle>& stelle,
                                       Wartestelle::Frist frist);

  // What has been set up and must be taken down.
  enum class Stand { nichts, gebaut, beobachtet, abgegriffen, gestartet };

  std::unique_ptr<EngineAufrufe> engine_;
  Stand stand_ = Stand::nichts;
};

}  // namespace hallkorb
