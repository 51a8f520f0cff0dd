#include "platform/linux/screen/X11Atome.h"

#include <string_view>

#include "platform/linux/screen/X11Verbindung.h"

namespace hallkorb {
namespace {

constexpr std::size_t ANZAHL = static_cast<std::size_t>(X11Name::ANZAHL);

// In the order of X11Name.
constexpr std::array<std::string_view, ANZAHL> NAMEN{
    "_NET_CLIENT_LIST",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_SUPPORTING_WM_CHECK",
    "_NET_CURRENT_DESKTOP",
    "_NET_WM_NAME",
    "_NET_WM_DESKTOP",
    "_NET_WM_STATE",
    "_NET_WM_STATE_HIDDEN",
    "_NET_WM_STATE_SHADED",
    "_NET_WM_STATE_ABOVE",
    "_NET_WM_STATE_BELOW",
    "_NET_WM_STATE_FULLSCREEN",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_WINDOW_TYPE_DESKTOP",
    "_NET_WM_WINDOW_TYPE_DOCK",
    "_NET_FRAME_EXTENTS",
    "_GTK_FRAME_EXTENTS",
    "_GTK_APPLICATION_ID",
    "_BAMF_DESKTOP_FILE",
    "_KDE_NET_WM_DESKTOP_FILE",
    "WM_STATE",
    "UTF8_STRING",
    "COMPOUND_TEXT",
};

}  // namespace

X11Atome::X11Atome(xcb_connection_t* verbindung) {
  std::array<xcb_intern_atom_cookie_t, ANZAHL> fragen{};
  for (std::size_t i = 0; i < ANZAHL; ++i) {
    fragen[i] = xcb_intern_atom(verbindung, 1, static_cast<std::uint16_t>(NAMEN[i].size()),
                                NAMEN[i].data());
  }
  for (std::size_t i = 0; i < ANZAHL; ++i) {
    const X11Antwort<xcb_intern_atom_reply_t> antwort(
        xcb_intern_atom_reply(verbindung, fragen[i], nullptr));
    if (antwort) atome_[i] = antwort->atom;
  }
}

}  // namespace hallkorb
