// The names of window properties that are read here, as the server numbers them.
//
// Asked for all at once, one round trip for each connection. A name that no program has used yet
// has no number, and no window has a property of that name; requesting atom 0 behaves the same.
//
// The thread of the connection.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

enum class X11Name : std::uint8_t {
  NET_CLIENT_LIST,
  NET_CLIENT_LIST_STACKING,
  NET_SUPPORTING_WM_CHECK,
  NET_CURRENT_DESKTOP,
  NET_WM_NAME,
  NET_WM_DESKTOP,
  NET_WM_STATE,
  NET_WM_STATE_HIDDEN,
  NET_WM_STATE_SHADED,
  NET_WM_STATE_ABOVE,
  NET_WM_STATE_BELOW,
  NET_WM_STATE_FULLSCREEN,
  NET_WM_WINDOW_TYPE,
  NET_WM_WINDOW_TYPE_DESKTOP,
  NET_WM_WINDOW_TYPE_DOCK,
  NET_FRAME_EXTENTS,
  GTK_FRAME_EXTENTS,
  GTK_APPLICATION_ID,
  BAMF_DESKTOP_FILE,
  KDE_NET_WM_DESKTOP_FILE,
  WM_STATE,
  UTF8_STRING,
  COMPOUND_TEXT,
  ANZAHL
};

class X11Atome {
 public:
  explicit X11Atome(xcb_connection_t* verbindung);

  [[nodiscard]] xcb_atom_t operator[](X11Name name) const {
    return atome_[static_cast<std::size_t>(name)];
  }

 private:
  std::array<xcb_atom_t, static_cast<std::size_t>(X11Name::ANZAHL)> atome_{};
};

}  // namespace hallkorb
