// What the computer plays: a capture stream on the first display, for its sound alone.
//
// Threads as in AudioGeraet.h; blocks come on the queue "sck.audio".
#pragma once

#include <chrono>
#include <memory>

#include "platform/macos/audio/AudioGeraet.h"
#include "platform/macos/screen/SckStrom.h"

namespace hallkorb {

class SystemTonGeraet final : public AudioGeraet {
 public:
  // How long schliesse() waits for the service: a little less than the stop waits for the device,
  // so that it returns what did not answer.
  static constexpr std::chrono::milliseconds ABBAU{2800};

  explicit SystemTonGeraet(std::shared_ptr<SckAufrufe> dienst);
  ~SystemTonGeraet() override;

  [[nodiscard]] Ergebnis oeffne(std::weak_ptr<BlockEmpfaenger> empfaenger,
                                const std::shared_ptr<Wartestelle>& stelle,
                                Wartestelle::Frist frist) override;
  [[nodiscard]] bool laeuft() override;
  Ergebnis schliesse() override;

 private:
  class Tonempfaenger;

  std::shared_ptr<SckAufrufe> dienst_;
  std::shared_ptr<SckStrom> strom_;
  std::shared_ptr<Tonempfaenger> tonempfaenger_;
};

}  // namespace hallkorb
