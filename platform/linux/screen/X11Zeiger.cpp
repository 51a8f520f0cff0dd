#include "platform/linux/screen/X11Zeiger.h"

#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

X11Zeiger::X11Zeiger(const X11Verbindung& verbindung) : verbindung_(verbindung) {
  const auto* erweiterung = xcb_get_extension_data(verbindung.get(), xcb_xfixes_id);
  ereignisNummer_ = static_cast<std::uint8_t>(erweiterung->first_event + XCB_XFIXES_CURSOR_NOTIFY);
  xcb_xfixes_select_cursor_input(verbindung.get(), verbindung.schirm().root,
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
}

void X11Zeiger::ereignis(const xcb_generic_event_t& ereignis) {
  if ((ereignis.response_type & 0x7F) == ereignisNummer_) ++form_;
}

X11Zeiger::Frage X11Zeiger::frage(xcb_window_t fenster, xcb_window_t oberstes) const {
  xcb_connection_t* c = verbindung_.get();
  const xcb_window_t wurzel = verbindung_.schirm().root;
  return {xcb_query_pointer(c, wurzel), xcb_translate_coordinates(c, fenster, wurzel, 0, 0),
          oberstes};
}

std::optional<X11Zeiger::Stand> X11Zeiger::lies(const Frage& frage) const {
  const X11Antwort<xcb_query_pointer_reply_t> zeiger(
      xcb_query_pointer_reply(verbindung_.get(), frage.zeiger, nullptr));
  const X11Antwort<xcb_translate_coordinates_reply_t> fenster(
      xcb_translate_coordinates_reply(verbindung_.get(), frage.fenster, nullptr));
  if (!zeiger || !fenster || zeiger->same_screen == 0 || zeiger->child != frage.oberstes) {
    return std::nullopt;
  }
  return Stand{zeiger->root_x - fenster->dst_x, zeiger->root_y - fenster->dst_y, form_};
}

const Zeigerbild& X11Zeiger::form() {
  if (gelesen_ == form_) return bild_;
  gelesen_ = form_;
  xcb_connection_t* c = verbindung_.get();
  const X11Antwort<xcb_xfixes_get_cursor_image_reply_t> antwort(
      xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr));
  bild_ = {};
  if (!antwort) return bild_;
  const std::size_t anzahl = std::size_t{antwort->width} * antwort->height;
  const auto punkte =
      x11Werte(*antwort, xcb_xfixes_get_cursor_image_cursor_image(antwort.get()), anzahl);
  if (punkte.size() < anzahl) return bild_;
  bild_.breite = antwort->width;
  bild_.hoehe = antwort->height;
  bild_.spitzeX = antwort->xhot;
  bild_.spitzeY = antwort->yhot;
  bild_.punkte.assign(punkte.begin(), punkte.end());
  return bild_;
}

}  // namespace hallkorb
