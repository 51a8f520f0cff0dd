// The X11 screen: its windows, and the moving picture of one of them.
//
// Every inventory and every stream has a connection of its own. Making one takes half a
// millisecond, and in return nothing is shared between threads, and a server that came back is
// found without a word.
//
// In a Wayland session this is Xwayland with the windows that live there; windows of Wayland itself
// can be neither listed nor read by anyone but the compositor.
#pragma once

#include <memory>
#include <string>

#include "platform/linux/screen/X11Verbindung.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

class X11ScreenCapture final : public ScreenCapture {
 public:
  enum class Weg { SEGMENT, SOCKET };  // how pictures come; SEGMENT where it is possible

  // `display` as for oeffneX11Socket(): empty means the environment's DISPLAY, looked up with every
  // call.
  explicit X11ScreenCapture(std::string display = {}, Weg weg = Weg::SEGMENT);

  [[nodiscard]] Ergebnis inventar(ScreenContent& content) override;
  [[nodiscard]] std::unique_ptr<WindowStream> stream(
      const StreamKonfiguration& konfiguration) override;

 private:
  const std::string display_;
  const Weg weg_;
  X11Waechter waechter_;
};

}  // namespace hallkorb
