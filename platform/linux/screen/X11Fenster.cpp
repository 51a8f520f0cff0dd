#include "platform/linux/screen/X11Fenster.h"

#include <algorithm>
#include <string>

#include "platform/linux/screen/Xcb.h"

namespace hallkorb {
namespace {

constexpr int BITS_JE_PUNKT = 32;

// Whether a drawable of this depth is delivered with four bytes for each pixel.
bool vierBytesJePunkt(const xcb_setup_t* setup, std::uint8_t tiefe) {
  for (auto i = xcb_setup_pixmap_formats_iterator(setup); i.rem > 0; xcb_format_next(&i)) {
    if (i.data->depth == tiefe) return i.data->bits_per_pixel == BITS_JE_PUNKT;
  }
  return false;
}

const xcb_visualtype_t* suchVisual(const xcb_setup_t* setup, xcb_visualid_t id) {
  for (auto schirm = xcb_setup_roots_iterator(setup); schirm.rem > 0; xcb_screen_next(&schirm)) {
    auto tiefe = xcb_screen_allowed_depths_iterator(schirm.data);
    for (; tiefe.rem > 0; xcb_depth_next(&tiefe)) {
      auto visual = xcb_depth_visuals_iterator(tiefe.data);
      for (; visual.rem > 0; xcb_visualtype_next(&visual)) {
        if (visual.data->visual_id == id) return visual.data;
      }
    }
  }
  return nullptr;
}

// Whether the window's pixels lie in memory as blue, green, red and a byte without meaning, which
// is what a BgrBild holds. Four bytes may as well be three times ten bits.
bool istBgr(const xcb_setup_t* setup, xcb_visualid_t visualId, std::uint8_t tiefe) {
  if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST || !vierBytesJePunkt(setup, tiefe)) {
    return false;
  }
  const xcb_visualtype_t* visual = suchVisual(setup, visualId);
  return visual != nullptr && visual->red_mask == 0xFF0000 && visual->green_mask == 0xFF00 &&
         visual->blue_mask == 0xFF;
}

}  // namespace

std::unique_ptr<X11Fenster> X11Fenster::neu(const X11Verbindung& verbindung, xcb_window_t id,
                                            Fehler& fehler) {
  std::unique_ptr<X11Fenster> fenster(new X11Fenster(verbindung, id));
  if (auto grund = fenster->beginne()) {
    fehler = std::move(*grund);
    return nullptr;
  }
  return fenster;
}

X11Fenster::X11Fenster(const X11Verbindung& verbindung, xcb_window_t id)
    : verbindung_(verbindung), id_(id), schaden_(xcb_generate_id(verbindung.get())) {}

X11Fenster::~X11Fenster() {
  xcb_connection_t* c = verbindung_.get();
  verwirfPixmap();
  if (zerstoert_) return;  // with the window all of it has gone
  // The events stay selected: the window that is recorded next may lie in the same frame, and this
  // connection has one selection there for both. Events of other windows are passed over.
  xcb_damage_destroy(c, schaden_);
  xcb_composite_unredirect_window(c, id_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
  xcb_flush(c);
}

Ergebnis X11Fenster::beginne() {
  xcb_connection_t* c = verbindung_.get();
  // The events first: what happens after the state has been read is told by them.
  const std::uint32_t ereignisse = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
  const xcb_void_cookie_t fragen[] = {
      xcb_change_window_attributes_checked(c, id_, XCB_CW_EVENT_MASK, &ereignisse),
      xcb_composite_redirect_window_checked(c, id_, XCB_COMPOSITE_REDIRECT_AUTOMATIC),
      xcb_damage_create_checked(c, schaden_, id_, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY),
  };
  const auto attributFrage = xcb_get_window_attributes(c, id_);
  const auto masseFrage = xcb_get_geometry(c, id_);
  Ergebnis ergebnis;
  for (const xcb_void_cookie_t frage : fragen) {
    const X11Antwort<xcb_generic_error_t> fehler(xcb_request_check(c, frage));
    if (fehler && !ergebnis) {
      ergebnis = Fehler{"x11", fehler->error_code,
                        "das Fenster " + std::to_string(id_) + " kann nicht aufgenommen werden"};
    }
  }
  const X11Antwort<xcb_get_window_attributes_reply_t> attribute(
      xcb_get_window_attributes_reply(c, attributFrage, nullptr));
  const X11Antwort<xcb_get_geometry_reply_t> masse(xcb_get_geometry_reply(c, masseFrage, nullptr));
  if (auto fehler = verbindung_.verloren()) return fehler;
  if (ergebnis) return ergebnis;
  if (!attribute || !masse) {
    return Fehler{"x11", XCB_WINDOW, "das Fenster " + std::to_string(id_) + " ist verschwunden"};
  }
  if (!istBgr(xcb_get_setup(c), attribute->visual, masse->depth)) {
    return Fehler{"x11", XCB_MATCH,
                  "die Farbtiefe " + std::to_string(masse->depth) + " wird nicht aufgenommen"};
  }
  breite_ = masse->width;
  hoehe_ = masse->height;
  siehNach();
  return std::nullopt;
}

void X11Fenster::ereignis(const xcb_generic_event_t& ereignis) {
  const std::uint8_t art = ereignis.response_type & 0x7F;
  const auto* erweiterung = xcb_get_extension_data(verbindung_.get(), xcb_damage_id);
  if (art == erweiterung->first_event + XCB_DAMAGE_NOTIFY) {
    const auto& meldung = reinterpret_cast<const xcb_damage_notify_event_t&>(ereignis);
    if (meldung.damage == schaden_) veraendert_ = true;
    return;
  }
  // The window that an event is about has the same place in all of these.
  const auto& meldung = reinterpret_cast<const xcb_unmap_notify_event_t&>(ereignis);
  const bool eigenes = meldung.window == id_;
  if (!eigenes &&
      std::find(vorfahren_.begin(), vorfahren_.end(), meldung.window) == vorfahren_.end()) {
    return;
  }
  switch (art) {
    case XCB_CONFIGURE_NOTIFY: {
      const auto& neu = reinterpret_cast<const xcb_configure_notify_event_t&>(ereignis);
      if (!eigenes || (neu.width == breite_ && neu.height == hoehe_)) return;
      breite_ = neu.width;
      hoehe_ = neu.height;
      verwirfPixmap();
      break;
    }
    case XCB_MAP_NOTIFY:
    case XCB_UNMAP_NOTIFY:
    case XCB_REPARENT_NOTIFY:
      siehNach();
      break;
    case XCB_DESTROY_NOTIFY:
      zerstoert_ = zerstoert_ || eigenes;
      verwirfPixmap();
      break;
    default:
      break;
  }
}

void X11Fenster::nimmVeraendert() {
  veraendert_ = false;
  xcb_damage_subtract(verbindung_.get(), schaden_, XCB_NONE, XCB_NONE);
}

const X11Fenster::Quelle& X11Fenster::quelle() {
  if (quelle_.pixmap != XCB_NONE || !sichtbar()) return quelle_;
  xcb_connection_t* c = verbindung_.get();
  const xcb_pixmap_t pixmap = xcb_generate_id(c);
  const auto name = xcb_composite_name_window_pixmap_checked(c, id_, pixmap);
  const auto fensterFrage = xcb_get_geometry(c, id_);
  const auto pixmapFrage = xcb_get_geometry(c, pixmap);
  const X11Antwort<xcb_generic_error_t> fehler(xcb_request_check(c, name));
  const X11Antwort<xcb_get_geometry_reply_t> fenster(
      xcb_get_geometry_reply(c, fensterFrage, nullptr));
  const X11Antwort<xcb_get_geometry_reply_t> masse(xcb_get_geometry_reply(c, pixmapFrage, nullptr));
  // It was unmapped, and the event that says so is on its way.
  if (fehler || !fenster || !masse) return quelle_;
  quelle_.pixmap = pixmap;
  quelle_.rand = fenster->border_width;
  quelle_.breite = masse->width - 2 * quelle_.rand;
  quelle_.hoehe = masse->height - 2 * quelle_.rand;
  return quelle_;
}

void X11Fenster::siehNach() {
  xcb_connection_t* c = verbindung_.get();
  // Each window's events before its parent is asked for, and all of them before the state: what
  // changes in between is told and looked at again.
  const std::uint32_t ereignisse = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  vorfahren_.clear();
  for (xcb_window_t fenster = id_;;) {
    const X11Antwort<xcb_query_tree_reply_t> baum(
        xcb_query_tree_reply(c, xcb_query_tree(c, fenster), nullptr));
    if (!baum || baum->parent == baum->root || baum->parent == XCB_NONE) break;
    fenster = baum->parent;
    vorfahren_.push_back(fenster);
    xcb_change_window_attributes(c, fenster, XCB_CW_EVENT_MASK, &ereignisse);
  }
  const X11Antwort<xcb_get_window_attributes_reply_t> attribute(
      xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, id_), nullptr));
  sichtbar_ = attribute && attribute->map_state == XCB_MAP_STATE_VIEWABLE;
  verwirfPixmap();
}

void X11Fenster::verwirfPixmap() {
  if (quelle_.pixmap != XCB_NONE) xcb_free_pixmap(verbindung_.get(), quelle_.pixmap);
  quelle_ = {};
  veraendert_ = true;
}

}  // namespace hallkorb
