#include "platform/linux/screen/X11Fenster.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/screen/X11Eigenschaft.h"
#include "platform/linux/screen/Xcb.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {
namespace {

constexpr std::string_view SCHATTEN = "_GTK_FRAME_EXTENTS";

// Windows lie a few deep in each other; a server that names more of them is out of order, and could
// go on for ever.
constexpr std::size_t VORFAHREN_HOECHSTENS = 64;

// Without the bit for events that another client has sent.
std::uint8_t ereignisArt(const xcb_generic_event_t& ereignis) {
  return ereignis.response_type & 0x7F;
}

}  // namespace

std::unique_ptr<X11Fenster> X11Fenster::neu(const X11Verbindung& verbindung, xcb_window_t id,
                                            Fehler& fehler, const AnstrichFristen& fristen,
                                            Zeitgeber jetzt) {
  std::unique_ptr<X11Fenster> fenster(new X11Fenster(verbindung, id, fristen, std::move(jetzt)));
  if (Ergebnis ergebnis = fenster->beginne(); ergebnis.gescheitert()) {
    fehler = std::move(ergebnis).fehler();
    return nullptr;
  }
  return fenster;
}

X11Fenster::X11Fenster(const X11Verbindung& verbindung, xcb_window_t id,
                       const AnstrichFristen& fristen, Zeitgeber jetzt)
    : verbindung_(verbindung),
      id_(id),
      jetzt_(std::move(jetzt)),
      schaden_(xcb_generate_id(verbindung.get())),
      anstrich_(fristen) {}

X11Fenster::~X11Fenster() {
  xcb_connection_t* c = verbindung_.get();
  verwirfPixmap();
  if (zerstoert_) return;  // the server has released everything with the window
  // The events stay selected: a connection has one selection for each window, and the next window
  // may lie in the same frame. ereignis() ignores those of other windows.
  xcb_damage_destroy(c, schaden_);
  xcb_composite_unredirect_window(c, id_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
  xcb_flush(c);
}

Ergebnis X11Fenster::beginne() {
  // The events first: they report what happens after the state has been read.
  Ergebnis ergebnis = fordereAn();
  if (ergebnis.gelungen()) ergebnis = liesEigenschaften();
  if (const auto verloren = verbindung_.verloren()) return *verloren;  // why everything failed
  if (ergebnis.gelungen()) siehNach();
  return ergebnis;
}

// Events, a pixmap of its own, and Damage.
Ergebnis X11Fenster::fordereAn() {
  xcb_connection_t* c = verbindung_.get();
  const std::uint32_t ereignisse =
      XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_EXPOSURE;
  const xcb_void_cookie_t auftraege[] = {
      xcb_change_window_attributes_checked(c, id_, XCB_CW_EVENT_MASK, &ereignisse),
      xcb_composite_redirect_window_checked(c, id_, XCB_COMPOSITE_REDIRECT_AUTOMATIC),
      xcb_damage_create_checked(c, schaden_, id_, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY),
  };
  Ergebnis ergebnis;
  for (const xcb_void_cookie_t auftrag : auftraege) {
    const X11Antwort<xcb_generic_error_t> fehler(xcb_request_check(c, auftrag));
    if (fehler && ergebnis.gelungen()) {
      ergebnis = Fehler{"x11", fehler->error_code,
                        "das Fenster " + std::to_string(id_) + " kann nicht aufgenommen werden"};
    }
  }
  return ergebnis;
}

// Fails if the window is gone, or its pixels are of a kind that is not recorded.
Ergebnis X11Fenster::liesEigenschaften() {
  xcb_connection_t* c = verbindung_.get();
  const auto namensFrage =
      xcb_intern_atom(c, 0, static_cast<std::uint16_t>(SCHATTEN.size()), SCHATTEN.data());
  const auto attributFrage = xcb_get_window_attributes(c, id_);
  const auto masseFrage = xcb_get_geometry(c, id_);
  const X11Antwort<xcb_intern_atom_reply_t> name(xcb_intern_atom_reply(c, namensFrage, nullptr));
  const X11Antwort<xcb_get_window_attributes_reply_t> attribute(
      xcb_get_window_attributes_reply(c, attributFrage, nullptr));
  const X11Antwort<xcb_get_geometry_reply_t> masse(xcb_get_geometry_reply(c, masseFrage, nullptr));
  if (name) schattenName_ = name->atom;
  if (!attribute || !masse) return verschwunden();
  const auto format = X11Punktformat::suche(xcb_get_setup(c), attribute->visual, masse->depth);
  if (!format) {
    return nichtAufnehmbar("die Farbtiefe " + std::to_string(masse->depth) +
                           " wird nicht aufgenommen");
  }
  punktformat_ = *format;
  breite_ = masse->width;
  hoehe_ = masse->height;
  return {};
}

Fehler X11Fenster::verschwunden() const {
  return {"x11", XCB_WINDOW, "das Fenster " + std::to_string(id_) + " ist verschwunden"};
}

void X11Fenster::ereignis(const xcb_generic_event_t& ereignis) {
  const auto* damage = xcb_get_extension_data(verbindung_.get(), xcb_damage_id);
  const std::uint8_t art = ereignisArt(ereignis);
  if (art == damage->first_event + XCB_DAMAGE_NOTIFY) {
    merkeSchaden(ereignis);
  } else if (art == XCB_EXPOSE) {
    merkeLeere(ereignis);
  } else if (art == XCB_PROPERTY_NOTIFY) {
    merkeEigenschaft(ereignis);
  } else {
    merkeLage(ereignis);
  }
}

// Also later than a new size: a window manager may still be placing the window.
void X11Fenster::merkeLeere(const xcb_generic_event_t& ereignis) {
  const auto& meldung = reinterpret_cast<const xcb_expose_event_t&>(ereignis);
  if (meldung.window != id_ || meldung.count != 0) return;
  veraendert_ = true;
  warteAufGemaltes();
}

void X11Fenster::merkeEigenschaft(const xcb_generic_event_t& ereignis) {
  const auto& meldung = reinterpret_cast<const xcb_property_notify_event_t&>(ereignis);
  if (meldung.window != id_ || meldung.atom != schattenName_) return;
  liesSchatten();
  beginneFlaeche();
}

void X11Fenster::merkeLage(const xcb_generic_event_t& ereignis) {
  // The window that an event is about has the same place in all of these.
  const xcb_window_t von = reinterpret_cast<const xcb_unmap_notify_event_t&>(ereignis).window;
  if (von != id_ && std::find(vorfahren_.begin(), vorfahren_.end(), von) == vorfahren_.end()) {
    return;
  }
  switch (ereignisArt(ereignis)) {
    case XCB_CONFIGURE_NOTIFY:
      merkeGroesse(reinterpret_cast<const xcb_configure_notify_event_t&>(ereignis));
      break;
    case XCB_MAP_NOTIFY:
    case XCB_UNMAP_NOTIFY:
    case XCB_REPARENT_NOTIFY:
      siehNach();
      break;
    case XCB_DESTROY_NOTIFY:
      zerstoert_ = zerstoert_ || von == id_;
      verwirfPixmap();
      break;
    default:
      break;
  }
}

void X11Fenster::merkeGroesse(const xcb_configure_notify_event_t& ereignis) {
  const bool andere = ereignis.width != breite_ || ereignis.height != hoehe_;
  if (ereignis.window == id_ && andere) {
    breite_ = ereignis.width;
    hoehe_ = ereignis.height;
    beginneFlaeche();
  } else if (anstrich_.offen()) {
    // A window manager that is still placing the window makes the server fill it once more.
    warteAufGemaltes();
  }
}

// The server's own filling of a new surface is Damage, too; its sequence is before gemaltAb_.
void X11Fenster::merkeSchaden(const xcb_generic_event_t& ereignis) {
  if (reinterpret_cast<const xcb_damage_notify_event_t&>(ereignis).damage != schaden_) return;
  veraendert_ = true;
  const bool gemalt = static_cast<std::int32_t>(ereignis.full_sequence - gemaltAb_) >= 0;
  if (!anstrich_.offen() || !gemalt) return;
  anstrich_.gemalt(jetzt_());
  xcb_damage_subtract(verbindung_.get(), schaden_, XCB_NONE, XCB_NONE);
}

void X11Fenster::beginneFlaeche() {
  verwirfPixmap();
  warteAufGemaltes();
}

void X11Fenster::warteAufGemaltes() {
  anstrich_.beginne(jetzt_());
  gemaltAb_ = xcb_damage_subtract(verbindung_.get(), schaden_, XCB_NONE, XCB_NONE).sequence;
}

void X11Fenster::liesSchatten() {
  X11Eigenschaft eigenschaft(verbindung_.get(), id_, schattenName_);
  eigenschaft.lies();
  schatten_ = x11Raender(eigenschaft);
}

void X11Fenster::nimmVeraendert() {
  veraendert_ = false;
  anstrich_.beende();
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
  // It was unmapped, and the event of that is on its way.
  if (fehler || !fenster || !masse) return quelle_;
  quelle_.pixmap = pixmap;
  const int rand = fenster->border_width;
  const int breite = masse->width - 2 * rand;
  const int hoehe = masse->height - 2 * rand;
  const X11Raender s = alsSchatten(schatten_, breite, hoehe);
  quelle_.fensterX = s.links;
  quelle_.fensterY = s.oben;
  quelle_.x = rand + s.links;
  quelle_.y = rand + s.oben;
  quelle_.breite = breite - s.links - s.rechts;
  quelle_.hoehe = hoehe - s.oben - s.unten;
  return quelle_;
}

void X11Fenster::siehNach() {
  xcb_connection_t* c = verbindung_.get();
  // Select a window's events before asking for its parent, and all of them before asking for the
  // state: what changes in between is then reported and looked at again.
  const std::uint32_t ereignisse = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  vorfahren_.clear();
  for (xcb_window_t fenster = id_; vorfahren_.size() < VORFAHREN_HOECHSTENS;) {
    const X11Antwort<xcb_query_tree_reply_t> baum(
        xcb_query_tree_reply(c, xcb_query_tree(c, fenster), nullptr));
    if (!baum || baum->parent == baum->root || baum->parent == XCB_NONE) break;
    fenster = baum->parent;
    vorfahren_.push_back(fenster);
    xcb_change_window_attributes(c, fenster, XCB_CW_EVENT_MASK, &ereignisse);
  }
  const X11Antwort<xcb_get_window_attributes_reply_t> attribute(
      xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, id_), nullptr));
  const bool warSichtbar =
      std::exchange(sichtbar_, attribute && attribute->map_state == XCB_MAP_STATE_VIEWABLE);
  if (!warSichtbar) anstrich_.beende();  // its pixels were never to be seen
  liesSchatten();
  beginneFlaeche();
}

void X11Fenster::verwirfPixmap() {
  if (quelle_.pixmap != XCB_NONE) xcb_free_pixmap(verbindung_.get(), quelle_.pixmap);
  quelle_ = {};
  veraendert_ = true;
}

}  // namespace hallkorb
