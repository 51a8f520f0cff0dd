// The X11 screen: its windows, and the moving picture of one of them.
//
// Every inventory and every stream has a connection of its own. Making one takes half a
// millisecond; in return threads share nothing, and a server that came back is found at once.
//
// In a Wayland session this is Xwayland and its windows; Wayland's own windows can be listed and
// read by the compositor only.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/linux/screen/Anstrich.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

class X11ScreenCapture final : public ScreenCapture {
 public:
  enum class Weg { SEGMENT, SOCKET };  // how pictures come; SEGMENT if possible

  // What an inventory, a start or a change of window may take.
  static constexpr std::chrono::milliseconds FRIST{2800};

  // `display` as for oeffneX11Socket(): empty means the environment's DISPLAY, looked up with every
  // call. `fristen` is what a program may take to paint its window.
  explicit X11ScreenCapture(std::string display = {}, Weg weg = Weg::SEGMENT,
                            std::chrono::milliseconds frist = FRIST,
                            const AnstrichFristen& fristen = {});

  [[nodiscard]] Ergebnis inventar(ScreenContent& content) override;
  [[nodiscard]] std::unique_ptr<WindowStream> stream(
      const StreamKonfiguration& konfiguration) override;

 private:
  const std::string display_;
  const Weg weg_;
  const std::chrono::milliseconds frist_;
  const AnstrichFristen fristen_;
  X11Waechter waechter_;
};

}  // namespace hallkorb
