// testfenster: a real window for tests and demonstrations, controlled by lines on standard input.
//
// It passes for a window of any application (class, title), shows a colour that can be found again
// in a picture, and moves on command. After each command it prints "ok" once the server has done
// all of it, so that nobody has to wait by the clock. Its first line is the window's number.
//
//   testfenster [--display D] [--klasse INSTANCE CLASS] [--titel T] [--groesse W H] [--ort X Y]
//               [--farbe RRGGBB] [--ohne-verwalter] [--ohne-rahmen] [--schatten L R T B]
//               [--typ ATOM] [--bewegt HZ] [--gleichbleibend] [--rauschen] [--beschriftet]
//               [--auf-befehl RRGGBB]
//
// --ohne-verwalter keeps the window manager away from it, as menus do; --ohne-rahmen asks it for no
// border and title bar; --schatten claims that so much at each edge is a shadow of its own; --typ
// is a name such as _NET_WM_WINDOW_TYPE_DOCK; --bewegt draws so many pictures a second, with
// --gleichbleibend always the same, --rauschen with noise in them; --beschriftet writes the title
// into it in large letters; --auf-befehl draws only when a command says so, and what the server has
// emptied has this colour until then. An empty instance and class: none are set.
//
// Commands: titel T, titel-latin1 BYTES, farbe RRGGBB, groesse W H, ort X Y, minimiere, zeige,
// verstecke, vorn, zustand ATOM 0|1 (such as _NET_WM_STATE_ABOVE), schreibtisch N, zeigerform N (a
// glyph of the font "cursor"), bewegt HZ (0: stands still), bild N (draws the N-th picture of the
// movement), schatten L R T B, male, male-halb (draws all of it, or the left half), leere (has the
// server empty it and ask for a drawing), gleiche (only what every command does: wait for the
// server), ende. The end of standard input ends it too.
#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Beschriftung.h"

namespace {

using Uhr = std::chrono::steady_clock;

[[noreturn]] void gibAuf(const std::string& grund) {
  std::cerr << "testfenster: " << grund << "\n";
  std::exit(1);
}

struct Wunsch {
  std::string display;
  std::string instanz = "testfenster";
  std::string klasse = "Testfenster";
  std::string titel = "Testfenster";
  int breite = 640;
  int hoehe = 400;
  int x = 40;
  int y = 40;
  std::uint32_t farbe = 0x2060A0;
  bool ohneVerwalter = false;
  bool ohneRahmen = false;
  std::uint32_t schatten[4] = {};
  std::string typ;
  double bewegt = 0.0;
  bool rauschen = false;
  bool beschriftet = false;
  bool gleichbleibend = false;
  std::optional<std::uint32_t> grund;
};

// 0xRRGGBB as a pixel of the screen, whatever its depth.
std::uint32_t punktwert(const xcb_screen_t& schirm, std::uint32_t farbe) {
  for (auto tiefe = xcb_screen_allowed_depths_iterator(&schirm); tiefe.rem > 0;
       xcb_depth_next(&tiefe)) {
    for (auto v = xcb_depth_visuals_iterator(tiefe.data); v.rem > 0; xcb_visualtype_next(&v)) {
      if (v.data->visual_id != schirm.root_visual) continue;
      std::uint32_t punkt = 0;
      int stelle = 16;
      for (const std::uint32_t maske : {v.data->red_mask, v.data->green_mask, v.data->blue_mask}) {
        const std::uint32_t wert = farbe >> stelle & 0xFF;
        stelle -= 8;
        if (maske == 0) continue;  // a palette
        const std::uint32_t groesster = maske >> std::countr_zero(maske);
        punkt |= (wert * groesster + 127) / 255 << std::countr_zero(maske);
      }
      return punkt;
    }
  }
  return farbe;
}

class Fenster {
 public:
  explicit Fenster(const Wunsch& wunsch)
      : c_(xcb_connect(wunsch.display.empty() ? nullptr : wunsch.display.c_str(), nullptr)),
        breite_(wunsch.breite),
        hoehe_(wunsch.hoehe),
        farbe_(wunsch.farbe),
        rauschen_(wunsch.rauschen),
        gleichbleibend_(wunsch.gleichbleibend),
        aufBefehl_(wunsch.grund.has_value()) {
    if (xcb_connection_has_error(c_) != 0) gibAuf("no X server");
    schirm_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
    id_ = xcb_generate_id(c_);
    stift_ = xcb_generate_id(c_);
    const std::uint32_t werte[] = {wunsch.grund.value_or(wunsch.farbe),
                                   wunsch.ohneVerwalter ? 1U : 0U,
                                   XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    xcb_create_window(c_, XCB_COPY_FROM_PARENT, id_, schirm_->root,
                      static_cast<std::int16_t>(wunsch.x), static_cast<std::int16_t>(wunsch.y),
                      static_cast<std::uint16_t>(breite_), static_cast<std::uint16_t>(hoehe_), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, schirm_->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, werte);
    const std::uint32_t still[] = {0};
    xcb_create_gc(c_, stift_, id_, XCB_GC_GRAPHICS_EXPOSURES, still);
    std::string klasse = wunsch.instanz + '\0' + wunsch.klasse + '\0';
    if (klasse.size() > 2)
      setze(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, klasse.data(), klasse.size());
    setzeTitel(wunsch.titel);
    // At the requested place, not where the window manager would put it.
    const std::uint32_t hinweise[18] = {1U /* USPosition */, static_cast<std::uint32_t>(wunsch.x),
                                        static_cast<std::uint32_t>(wunsch.y)};
    setze(XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, hinweise, 18);
    if (wunsch.ohneRahmen) {
      const std::uint32_t ohne[] = {2 /* decorations are given */, 0, 0 /* none */, 0, 0};
      setze(atom("_MOTIF_WM_HINTS"), atom("_MOTIF_WM_HINTS"), 32, ohne, 5);
    }
    if (std::any_of(wunsch.schatten, wunsch.schatten + 4, [](auto rand) { return rand != 0; })) {
      setzeSchatten(wunsch.schatten);
    }
    if (!wunsch.typ.empty()) {
      const std::uint32_t typ = atom(wunsch.typ);
      setze(atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, &typ, 1);
    }
    bewege(wunsch.bewegt);
    if (wunsch.beschriftet) beschriftung_.emplace(c_, *schirm_);
    zeige();
  }
  ~Fenster() {
    beschriftung_.reset();
    xcb_disconnect(c_);
  }
  Fenster(const Fenster&) = delete;
  Fenster& operator=(const Fenster&) = delete;

  [[nodiscard]] xcb_window_t id() const { return id_; }
  [[nodiscard]] int fd() const { return xcb_get_file_descriptor(c_); }

  void setzeTitel(const std::string& titel) {
    titel_ = titel;
    setze(atom("_NET_WM_NAME"), atom("UTF8_STRING"), 8, titel.data(), titel.size());
    setze(XCB_ATOM_WM_NAME, atom("UTF8_STRING"), 8, titel.data(), titel.size());
    if (beschriftung_ && gezeigt_) zeichne();
  }
  void setzeTitelLatin1(const std::string& titel) {
    xcb_delete_property(c_, id_, atom("_NET_WM_NAME"));
    setze(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, titel.data(), titel.size());
  }
  void setzeZustand(const std::string& name, bool an) {
    bitte("_NET_WM_STATE", {an ? 1U : 0U, atom(name), 0, 1});
  }
  void setzeSchatten(const std::uint32_t* raender) {
    setze(atom("_GTK_FRAME_EXTENTS"), XCB_ATOM_CARDINAL, 32, raender, 4);
  }
  void setzeSchreibtisch(std::uint32_t nummer) { bitte("_NET_WM_DESKTOP", {nummer, 1}); }
  void setzeFarbe(std::uint32_t farbe) {
    farbe_ = farbe;
    zeichne();
  }
  void setzeGroesse(int breite, int hoehe) {
    const std::uint32_t werte[] = {static_cast<std::uint32_t>(breite),
                                   static_cast<std::uint32_t>(hoehe)};
    xcb_configure_window(c_, id_, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, werte);
    while (breite_ != breite || hoehe_ != hoehe)
      behandleNaechstes();
    zeichneVerlangtes();
  }
  void setzeOrt(int x, int y) {
    const std::uint32_t werte[] = {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
    xcb_configure_window(c_, id_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, werte);
  }
  void hebe() {
    const std::uint32_t oben[] = {XCB_STACK_MODE_ABOVE};
    xcb_configure_window(c_, id_, XCB_CONFIG_WINDOW_STACK_MODE, oben);
  }
  void minimiere() {
    bitte("WM_CHANGE_STATE", {3 /* IconicState */});
    while (gezeigt_)
      behandleNaechstes();
  }
  void verstecke() {
    xcb_unmap_window(c_, id_);
    while (gezeigt_)
      behandleNaechstes();
  }
  void zeige() {
    // A window manager that is just starting may overlook it, so it is asked again.
    constexpr int GEDULD_MS = 500;
    while (!gezeigt_) {
      xcb_map_window(c_, id_);
      xcb_flush(c_);
      pollfd server{fd(), POLLIN, 0};
      ::poll(&server, 1, GEDULD_MS);
      behandle();
    }
    zeichneVerlangtes();
  }
  void setzeZeigerform(std::uint16_t nummer) {
    const xcb_font_t schrift = xcb_generate_id(c_);
    xcb_open_font(c_, schrift, 6, "cursor");
    const xcb_cursor_t form = xcb_generate_id(c_);
    xcb_create_glyph_cursor(c_, form, schrift, schrift, nummer,
                            static_cast<std::uint16_t>(nummer + 1), 0xFFFF, 0, 0, 0xFFFF, 0xFFFF,
                            0xFFFF);
    const std::uint32_t werte[] = {form};
    xcb_change_window_attributes(c_, id_, XCB_CW_CURSOR, werte);
  }

  // The whole window in its colour, on request its title and a field of noise, and a bar in the
  // inverse colour at the place given by the picture's number.
  void zeichne() {
    fuelle(farbe_, 0, 0, breite_, hoehe_);
    if (beschriftung_) zeichneTitel();
    if (bild_ == 0) return;
    const int weg = std::max(1, breite_ - BALKEN);
    const int x = static_cast<int>(bild_ * 7 % static_cast<std::uint64_t>(weg));
    fuelle(~farbe_ & 0xFFFFFF, x, 0, BALKEN, hoehe_);
    if (rauschen_) zeichneRauschen();
  }
  void zeichneHalb() { fuelle(farbe_, 0, 0, breite_ / 2, hoehe_); }
  void leere() { xcb_clear_area(c_, 1, id_, 0, 0, 0, 0); }
  // What the server asks for.
  void zeichneVerlangtes() {
    if (!aufBefehl_) zeichne();
  }
  void bewege(double hz) {
    abstand_ = hz > 0.0 ? std::chrono::nanoseconds(static_cast<std::int64_t>(1e9 / hz))
                        : std::chrono::nanoseconds(0);
    naechstes_ = Uhr::now();
  }
  void setzeBild(std::uint64_t nummer) {
    bild_ = nummer;
    zeichne();
  }
  [[nodiscard]] int wartezeitMs() const {
    if (abstand_.count() == 0) return -1;
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(naechstes_ - Uhr::now());
    return std::max(0, static_cast<int>(rest.count()));
  }
  void tick() {
    if (abstand_.count() == 0 || Uhr::now() < naechstes_) return;
    naechstes_ = std::max(naechstes_ + abstand_, Uhr::now() - abstand_);
    if (!gleichbleibend_) ++bild_;
    if (gezeigt_) zeichne();
    xcb_flush(c_);
  }

  void behandle() {
    while (xcb_generic_event_t* ereignis = xcb_poll_for_event(c_))
      behandle(ereignis);
    if (xcb_connection_has_error(c_) != 0) std::exit(0);  // the server has ended
    xcb_flush(c_);
  }
  // Returns when the server has handled all requests.
  void gleiche() { std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr)); }

 private:
  static constexpr int BALKEN = 32;

  void behandleNaechstes() {
    xcb_flush(c_);
    xcb_generic_event_t* ereignis = xcb_wait_for_event(c_);
    if (ereignis == nullptr) std::exit(0);
    behandle(ereignis);
  }

  void behandle(xcb_generic_event_t* roh) {
    const std::unique_ptr<xcb_generic_event_t, void (*)(void*)> ereignis(roh, &std::free);
    switch (ereignis->response_type & 0x7F) {
      case XCB_EXPOSE:
        if (reinterpret_cast<xcb_expose_event_t*>(roh)->count == 0) zeichneVerlangtes();
        break;
      case XCB_CONFIGURE_NOTIFY:
        breite_ = reinterpret_cast<xcb_configure_notify_event_t*>(roh)->width;
        hoehe_ = reinterpret_cast<xcb_configure_notify_event_t*>(roh)->height;
        break;
      case XCB_MAP_NOTIFY:
        gezeigt_ = true;
        break;
      case XCB_UNMAP_NOTIFY:
        gezeigt_ = false;
        break;
      default:
        break;
    }
  }

  void setzeStift(std::uint32_t farbe) {
    const std::uint32_t punkt = punktwert(*schirm_, farbe);
    xcb_change_gc(c_, stift_, XCB_GC_FOREGROUND, &punkt);
  }

  void fuelle(std::uint32_t farbe, int x, int y, int breite, int hoehe) {
    setzeStift(farbe);
    const xcb_rectangle_t flaeche{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                                  static_cast<std::uint16_t>(breite),
                                  static_cast<std::uint16_t>(hoehe)};
    xcb_poly_fill_rectangle(c_, id_, stift_, 1, &flaeche);
  }

  void zeichneTitel() {
    constexpr int SEITE = 4;
    const std::vector<xcb_rectangle_t> quadrate =
        beschriftung_->quadrate(titel_, breite_, hoehe_, SEITE);
    setzeStift(~farbe_ & 0xFFFFFF);
    xcb_poly_fill_rectangle(c_, id_, stift_, static_cast<std::uint32_t>(quadrate.size()),
                            quadrate.data());
  }

  void zeichneRauschen() {
    constexpr std::uint16_t SEITE = 240;
    rauschBild_.resize(std::size_t{SEITE} * SEITE);
    for (std::uint32_t& punkt : rauschBild_) {
      zufall_ = zufall_ * 1664525U + 1013904223U;
      punkt = zufall_ >> 8;
    }
    xcb_put_image(c_, XCB_IMAGE_FORMAT_Z_PIXMAP, id_, stift_, SEITE, SEITE,
                  static_cast<std::int16_t>(bild_ * 3 % 400), 60, 0, schirm_->root_depth,
                  static_cast<std::uint32_t>(rauschBild_.size() * 4),
                  reinterpret_cast<const std::uint8_t*>(rauschBild_.data()));
  }

  // Asks the window manager for something.
  void bitte(const std::string& art, std::initializer_list<std::uint32_t> werte) {
    xcb_client_message_event_t meldung{};
    meldung.response_type = XCB_CLIENT_MESSAGE;
    meldung.format = 32;
    meldung.window = id_;
    meldung.type = atom(art);
    std::copy(werte.begin(), werte.end(), meldung.data.data32);
    xcb_send_event(c_, 0, schirm_->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&meldung));
  }

  void setze(xcb_atom_t name, xcb_atom_t art, std::uint8_t bits, const void* daten,
             std::size_t anzahl) {
    xcb_change_property(c_, XCB_PROP_MODE_REPLACE, id_, name, art, bits,
                        static_cast<std::uint32_t>(anzahl), daten);
  }

  xcb_atom_t atom(const std::string& name) {
    xcb_intern_atom_reply_t* antwort = xcb_intern_atom_reply(
        c_, xcb_intern_atom(c_, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr);
    if (antwort == nullptr) gibAuf("no atom");
    const xcb_atom_t nummer = antwort->atom;
    std::free(antwort);
    return nummer;
  }

  xcb_connection_t* c_;
  const xcb_screen_t* schirm_ = nullptr;
  xcb_window_t id_ = 0;
  xcb_gcontext_t stift_ = 0;
  int breite_;
  int hoehe_;
  std::uint32_t farbe_;
  bool rauschen_;
  bool gleichbleibend_;
  bool aufBefehl_;
  bool gezeigt_ = false;
  std::uint64_t bild_ = 0;
  std::uint32_t zufall_ = 1;
  std::vector<std::uint32_t> rauschBild_;
  std::string titel_;
  std::optional<hallkorb::Beschriftung> beschriftung_;
  std::chrono::nanoseconds abstand_{0};
  Uhr::time_point naechstes_{};
};

std::uint32_t farbeAus(const std::string& text) {
  return static_cast<std::uint32_t>(std::stoul(text, nullptr, 16));
}

bool fuehreAus(Fenster& fenster, const std::string& zeile) {
  std::istringstream worte(zeile);
  std::string befehl;
  worte >> befehl;
  std::string rest;
  std::getline(worte >> std::ws, rest);
  std::istringstream zahlen(rest);
  int a = 0;
  int b = 0;
  if (befehl == "titel") {
    fenster.setzeTitel(rest);
  } else if (befehl == "titel-latin1") {
    fenster.setzeTitelLatin1(rest);
  } else if (befehl == "farbe") {
    fenster.setzeFarbe(farbeAus(rest));
  } else if (befehl == "groesse" && zahlen >> a >> b) {
    fenster.setzeGroesse(a, b);
  } else if (befehl == "ort" && zahlen >> a >> b) {
    fenster.setzeOrt(a, b);
  } else if (befehl == "zustand") {
    std::string name;
    if (!(zahlen >> name >> a)) gibAuf(zeile);
    fenster.setzeZustand(name, a != 0);
  } else if (befehl == "schreibtisch" && zahlen >> a) {
    fenster.setzeSchreibtisch(static_cast<std::uint32_t>(a));
  } else if (befehl == "zeigerform" && zahlen >> a) {
    fenster.setzeZeigerform(static_cast<std::uint16_t>(a));
  } else if (befehl == "schatten") {
    std::uint32_t raender[4] = {};
    for (std::uint32_t& rand : raender)
      zahlen >> rand;
    fenster.setzeSchatten(raender);
  } else if (befehl == "minimiere") {
    fenster.minimiere();
  } else if (befehl == "zeige") {
    fenster.zeige();
  } else if (befehl == "verstecke") {
    fenster.verstecke();
  } else if (befehl == "vorn") {
    fenster.hebe();
  } else if (befehl == "bewegt") {
    fenster.bewege(std::strtod(rest.c_str(), nullptr));
  } else if (befehl == "bild") {
    fenster.setzeBild(std::strtoull(rest.c_str(), nullptr, 10));
  } else if (befehl == "male") {
    fenster.zeichne();
  } else if (befehl == "male-halb") {
    fenster.zeichneHalb();
  } else if (befehl == "leere") {
    fenster.leere();
  } else if (befehl == "gleiche") {
    // below
  } else if (befehl == "ende") {
    return false;
  } else {
    gibAuf("unknown command: " + zeile);
  }
  fenster.gleiche();
  fenster.behandle();  // what has come from the server meanwhile, such as a request to draw
  fenster.gleiche();
  std::cout << "ok" << std::endl;
  return true;
}

Wunsch liesWunsch(int argc, char** argv) {
  Wunsch wunsch;
  const std::vector<std::string> worte(argv + 1, argv + argc);
  for (std::size_t i = 0; i < worte.size(); ++i) {
    const auto naechstes = [&] {
      if (++i >= worte.size()) gibAuf("missing value");
      return worte[i];
    };
    if (worte[i] == "--display") {
      wunsch.display = naechstes();
    } else if (worte[i] == "--klasse") {
      wunsch.instanz = naechstes();
      wunsch.klasse = naechstes();
    } else if (worte[i] == "--titel") {
      wunsch.titel = naechstes();
    } else if (worte[i] == "--groesse") {
      wunsch.breite = std::stoi(naechstes());
      wunsch.hoehe = std::stoi(naechstes());
    } else if (worte[i] == "--ort") {
      wunsch.x = std::stoi(naechstes());
      wunsch.y = std::stoi(naechstes());
    } else if (worte[i] == "--farbe") {
      wunsch.farbe = farbeAus(naechstes());
    } else if (worte[i] == "--ohne-verwalter") {
      wunsch.ohneVerwalter = true;
    } else if (worte[i] == "--ohne-rahmen") {
      wunsch.ohneRahmen = true;
    } else if (worte[i] == "--schatten") {
      for (std::uint32_t& rand : wunsch.schatten)
        rand = static_cast<std::uint32_t>(std::stoul(naechstes()));
    } else if (worte[i] == "--typ") {
      wunsch.typ = naechstes();
    } else if (worte[i] == "--bewegt") {
      wunsch.bewegt = std::strtod(naechstes().c_str(), nullptr);
    } else if (worte[i] == "--rauschen") {
      wunsch.rauschen = true;
    } else if (worte[i] == "--gleichbleibend") {
      wunsch.gleichbleibend = true;
    } else if (worte[i] == "--auf-befehl") {
      wunsch.grund = farbeAus(naechstes());
    } else if (worte[i] == "--beschriftet") {
      wunsch.beschriftet = true;
    } else {
      gibAuf("unknown option: " + worte[i]);
    }
  }
  return wunsch;
}

}  // namespace

int main(int argc, char** argv) {
  Fenster fenster(liesWunsch(argc, argv));
  fenster.gleiche();
  std::cout << fenster.id() << std::endl;
  std::string eingabe;
  while (true) {
    fenster.behandle();
    pollfd quellen[] = {{STDIN_FILENO, POLLIN, 0}, {fenster.fd(), POLLIN, 0}};
    ::poll(quellen, 2, fenster.wartezeitMs());
    fenster.tick();
    if (quellen[0].revents == 0) continue;
    char puffer[512];
    const ssize_t n = ::read(STDIN_FILENO, puffer, sizeof puffer);
    if (n <= 0) return 0;
    eingabe.append(puffer, static_cast<std::size_t>(n));
    for (std::size_t ende = 0; (ende = eingabe.find('\n')) != std::string::npos;) {
      if (!fuehreAus(fenster, eingabe.substr(0, ende))) return 0;
      eingabe.erase(0, ende + 1);
    }
  }
}
