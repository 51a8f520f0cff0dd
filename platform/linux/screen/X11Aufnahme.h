// The recording of one window, step by step: what the thread of an X11Fensterstrom does.
//
// A picture is due when something was drawn, the pointer moved over the window, or the window is a
// new one; never sooner than the least distance after the last. One that equals the last one is
// dropped, unless it is the first of a new surface. A window that is minimised, on another desktop
// or gone gives no pictures; whoever chose it sees that in the inventory.
//
// Pictures come into two memories in turn, so that the last one is still there to compare with.
//
// No event reports the pointer's motion, so while the window is visible the pointer is queried as
// often as there may be pictures. That one short query is all that a still window costs.
//
// One thread.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/Fehler.h"
#include "platform/linux/BgrBild.h"
#include "platform/linux/screen/Anstrich.h"
#include "platform/linux/screen/Bildvergleich.h"
#include "platform/linux/screen/X11Bildspeicher.h"
#include "platform/linux/screen/X11Fenster.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/X11Zeiger.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

class X11Aufnahme {
 public:
  using Uhr = std::chrono::steady_clock;

  // `verbindung` is open and outlives this object. `mitSegment` as for X11Bildspeicher.
  X11Aufnahme(const X11Verbindung& verbindung, const StreamKonfiguration& konfiguration,
              bool mitSegment, const AnstrichFristen& fristen = {});

  // Agrees on the versions of the extensions; before all that follows. An error if the server lacks
  // one.
  [[nodiscard]] Ergebnis beginne();
  // Goes over to a window. If that fails, everything stays as it was.
  [[nodiscard]] Ergebnis waehle(xcb_window_t id);
  // Handles what has come from the server. Returns whether the title has changed since the last
  // call; also if the window is a new one, whose title was not watched before.
  [[nodiscard]] bool titelGeaendert();
  // Handles what has come from the server. Returns whether the chosen window has been painted, or
  // is not to be seen at all.
  [[nodiscard]] bool lesbar();
  // The error of the chosen window if it has been closed.
  [[nodiscard]] std::optional<Fehler> verschwunden() const;
  // Handles what has come from the server, and reads a picture if one is due. It is valid until the
  // next call.
  [[nodiscard]] std::optional<BgrBild> schritt();
  // The last picture was not taken: one is due as if the window had changed.
  void bieteAn();
  // When the next step is due even if nothing comes from the server; nullopt: wait for the server.
  [[nodiscard]] std::optional<Uhr::time_point> naechster() const;

 private:
  struct Ablage {
    Ablage(const X11Verbindung& verbindung, bool mitSegment) : speicher(verbindung, mitSegment) {}

    X11Bildspeicher speicher;
    std::vector<std::uint8_t> umgewandelt;  // the picture, if the screen's format is another one
  };

  void liesEreignisse();
  [[nodiscard]] bool istNeuerTitel(const xcb_generic_event_t& ereignis) const;
  void frageZeiger();
  [[nodiscard]] std::optional<BgrBild> lies();
  [[nodiscard]] const std::uint8_t* liesPunkte(const X11Fenster::Quelle& quelle);

  const X11Verbindung& verbindung_;
  const std::chrono::nanoseconds abstand_;
  const bool mitZeiger_;
  const bool mitSegment_;
  const AnstrichFristen fristen_;

  std::array<std::optional<Ablage>, 2> ablagen_;
  std::size_t ablage_ = 0;  // of the last picture
  Bildvergleich vergleich_;
  std::optional<X11Zeiger> zeiger_;
  std::unique_ptr<X11Fenster> fenster_;
  xcb_atom_t titelName_ = XCB_ATOM_NONE;  // _NET_WM_NAME
  bool titelNeu_ = false;
  std::optional<X11Zeiger::Stand> gezeichnet_;  // the pointer in the last picture
  Uhr::time_point fruehestens_{};               // the next picture or look at the pointer
};

}  // namespace hallkorb
