// The pointer over a window: its shape, and where it is.
//
// It belongs in the picture only if a person would see it over the window, with no other window in
// between. Its motion draws nothing into the window, so it must be queried.
//
// The thread of the connection.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/Xcb.h"
#include "platform/linux/screen/Zeigerbild.h"

namespace hallkorb {

class X11Zeiger {
 public:
  struct Stand {
    int x = 0;  // in the window
    int y = 0;
    std::uint64_t form = 0;  // changes with the pointer's shape

    friend bool operator==(const Stand&, const Stand&) = default;
  };
  struct Frage {
    xcb_query_pointer_cookie_t zeiger{};
    xcb_translate_coordinates_cookie_t fenster{};
    xcb_window_t oberstes = XCB_NONE;
  };

  // The version of XFixes must have been agreed with the server.
  explicit X11Zeiger(const X11Verbindung& verbindung);

  void ereignis(const xcb_generic_event_t& ereignis);
  // `oberstes`: the child of the root window that holds `fenster`, or `fenster` itself.
  [[nodiscard]] Frage frage(xcb_window_t fenster, xcb_window_t oberstes) const;
  // nullopt if the pointer is not over the window.
  [[nodiscard]] std::optional<Stand> lies(const Frage& frage) const;
  // The present shape; asks the server if it has changed.
  [[nodiscard]] const Zeigerbild& form();

 private:
  const X11Verbindung& verbindung_;
  std::uint8_t ereignisNummer_ = 0;
  std::uint64_t form_ = 0;
  std::uint64_t gelesen_ = ~std::uint64_t{0};
  Zeigerbild bild_;
};

}  // namespace hallkorb
