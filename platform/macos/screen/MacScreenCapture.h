// The screen's windows on macOS, by ScreenCaptureKit.
//
// Threads as in ScreenCapture.h.
#pragma once

#include <memory>

#include "platform/macos/screen/FensterStrom.h"
#include "platform/macos/screen/SckAufrufe.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

class MacScreenCapture final : public ScreenCapture {
 public:
  explicit MacScreenCapture(std::shared_ptr<SckAufrufe> dienst);

  // If the permission is missing, the error says where to give it.
  [[nodiscard]] Ergebnis inventar(ScreenContent& content) override;
  // The streams know the windows of the last inventory.
  [[nodiscard]] std::unique_ptr<WindowStream> stream(
      const StreamKonfiguration& konfiguration) override;

 private:
  std::shared_ptr<SckAufrufe> dienst_;
  std::shared_ptr<LetzterInhalt> letzter_ = std::make_shared<LetzterInhalt>();
};

}  // namespace hallkorb
