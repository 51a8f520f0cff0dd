// The moving picture of one window: a capture stream that can be pointed at another window.
//
// The service takes a window only as an object of a snapshot. The stream uses the last snapshot, in
// which the caller has found the window; one that is not in it is gone.
//
// Threads as in ScreenCapture.h; pictures come on the queue "sck.video". A lock admits one call on
// the listener at a time, and none after the stop.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "platform/macos/screen/SckStrom.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

// The last snapshot that was taken; any thread.
class LetzterInhalt {
 public:
  void merke(std::shared_ptr<const Inhalt> inhalt);
  [[nodiscard]] std::shared_ptr<const Inhalt> hole() const;

 private:
  mutable std::mutex lock_;
  std::shared_ptr<const Inhalt> inhalt_;
};

class FensterStrom final : public WindowStream {
 public:
  FensterStrom(SckAufrufe& dienst, std::shared_ptr<const LetzterInhalt> inhalt,
               const StreamKonfiguration& konfiguration);
  ~FensterStrom() override;
  FensterStrom(const FensterStrom&) = delete;
  FensterStrom& operator=(const FensterStrom&) = delete;

  [[nodiscard]] Ergebnis start(std::uint32_t id, WindowStreamListener& listener) override;
  [[nodiscard]] Ergebnis wechsle(std::uint32_t id) override;
  void stop() override;

 private:
  class Bildempfaenger;

  const std::shared_ptr<const LetzterInhalt> inhalt_;
  const StreamKonfiguration konfiguration_;
  const std::shared_ptr<Wartestelle> stelle_ = std::make_shared<Wartestelle>();
  std::shared_ptr<Bildempfaenger> bildempfaenger_;
  std::mutex ablauf_;  // start, switch and stop one at a time
  const std::shared_ptr<SckStrom> strom_;
};

}  // namespace hallkorb
