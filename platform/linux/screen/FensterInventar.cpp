#include "platform/linux/screen/FensterInventar.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/screen/AppKennungen.h"
#include "platform/linux/screen/X11Atome.h"
#include "platform/linux/screen/X11Eigenschaft.h"
#include "platform/linux/screen/X11Raender.h"
#include "platform/linux/screen/X11Text.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {
namespace {

using Fenster = std::vector<xcb_window_t>;

// The windows to look at, the front one first, or the newest if the window manager keeps no order.
class Liste {
 public:
  Liste(xcb_connection_t* c, xcb_window_t wurzel, const X11Atome& atome)
      : c_(c), wurzel_(wurzel), atome_(atome) {}

  [[nodiscard]] Fenster lies() const {
    Fenster fenster = vonUnten();
    std::reverse(fenster.begin(), fenster.end());
    return fenster;
  }

 private:
  [[nodiscard]] Fenster vonUnten() const {
    X11Eigenschaft gestapelt(c_, wurzel_, atome_[X11Name::NET_CLIENT_LIST_STACKING]);
    X11Eigenschaft liste(c_, wurzel_, atome_[X11Name::NET_CLIENT_LIST]);
    X11Eigenschaft verwalter(c_, wurzel_, atome_[X11Name::NET_SUPPORTING_WM_CHECK]);
    gestapelt.lies();
    liste.lies();
    verwalter.lies();
    const bool genannt = !verwalter.zahlen().empty();
    // The list stays when its window manager has ended.
    if (genannt && !lebt(verwalter)) return klienten();
    Fenster geordnet = alle(gestapelt);
    Fenster bekannt = alle(liste);
    // The order may be one that a former window manager left, whose successor keeps none.
    if (!geordnet.empty() && (bekannt.empty() || sortiert(geordnet) == sortiert(bekannt)))
      return geordnet;
    if (!bekannt.empty()) return bekannt;
    // Some window managers name themselves and keep no list; an empty one is the truth.
    const bool gefuehrt = gestapelt.art() != XCB_ATOM_NONE || liste.art() != XCB_ATOM_NONE;
    return genannt && gefuehrt ? Fenster() : klienten();
  }

  [[nodiscard]] static Fenster alle(const X11Eigenschaft& eigenschaft) {
    const auto zahlen = eigenschaft.zahlen();
    return {zahlen.begin(), zahlen.end()};
  }
  [[nodiscard]] static Fenster sortiert(Fenster fenster) {
    std::sort(fenster.begin(), fenster.end());
    return fenster;
  }

  // A living window manager owns a window with the same property.
  [[nodiscard]] bool lebt(const X11Eigenschaft& verwalter) const {
    const xcb_window_t fenster = verwalter.zahlen().front();
    X11Eigenschaft gegenprobe(c_, fenster, atome_[X11Name::NET_SUPPORTING_WM_CHECK]);
    gegenprobe.lies();
    return !gegenprobe.zahlen().empty() && gegenprobe.zahlen().front() == fenster;
  }

  // A child of the root window, and what is searched in it.
  struct Ast {
    xcb_window_t fenster;  // the child, or the client that was found in it
    Fenster ebene;         // the windows to look at next; none once a client was found
  };

  [[nodiscard]] Fenster klienten() const {
    constexpr int TIEFE = 3;  // frames hold the client directly, or in one more window
    std::vector<Ast> aeste;
    for (const xcb_window_t kind : kinderVon({wurzel_}))
      aeste.push_back({kind, {kind}});
    for (int tiefe = 0; tiefe < TIEFE && atome_[X11Name::WM_STATE] != XCB_ATOM_NONE; ++tiefe) {
      sucheMarkierte(aeste);
      for (Ast& ast : aeste)
        ast.ebene = tiefe + 1 < TIEFE ? kinderVon(ast.ebene) : Fenster();
    }
    Fenster ergebnis;
    for (const Ast& ast : aeste)
      ergebnis.push_back(ast.fenster);
    return ergebnis;
  }

  void sucheMarkierte(std::vector<Ast>& aeste) const {
    std::vector<X11Eigenschaft> marken;
    for (const Ast& ast : aeste) {
      for (const xcb_window_t fenster : ast.ebene)
        marken.emplace_back(c_, fenster, atome_[X11Name::WM_STATE]);
    }
    auto marke = marken.begin();
    for (Ast& ast : aeste) {
      xcb_window_t gefunden = XCB_NONE;
      for (const xcb_window_t fenster : ast.ebene) {
        marke->lies();
        if (gefunden == XCB_NONE && marke->art() != XCB_ATOM_NONE) gefunden = fenster;
        ++marke;
      }
      if (gefunden == XCB_NONE) continue;
      ast.fenster = gefunden;
      ast.ebene.clear();
    }
  }

  [[nodiscard]] Fenster kinderVon(const Fenster& eltern) const {
    std::vector<xcb_query_tree_cookie_t> fragen;
    for (const xcb_window_t fenster : eltern)
      fragen.push_back(xcb_query_tree(c_, fenster));
    Fenster kinder;
    for (const xcb_query_tree_cookie_t frage : fragen) {
      const X11Antwort<xcb_query_tree_reply_t> baum(xcb_query_tree_reply(c_, frage, nullptr));
      if (!baum) continue;
      const auto alle = x11Werte(*baum, xcb_query_tree_children(baum.get()), baum->children_len);
      kinder.insert(kinder.end(), alle.begin(), alle.end());
    }
    return kinder;
  }

  xcb_connection_t* c_;
  xcb_window_t wurzel_;
  const X11Atome& atome_;
};

// All requests for one window. Made for all windows before lies() is called for the first.
class Anfrage {
 public:
  Anfrage(xcb_connection_t* c, xcb_window_t wurzel, xcb_window_t fenster, const X11Atome& atome)
      : c_(c),
        atome_(&atome),
        id_(fenster),
        attribute_(xcb_get_window_attributes(c, fenster)),
        masse_(xcb_get_geometry(c, fenster)),
        ort_(xcb_translate_coordinates(c, fenster, wurzel, 0, 0)),
        titel_(c, fenster, atome[X11Name::NET_WM_NAME]),
        alterTitel_(c, fenster, XCB_ATOM_WM_NAME),
        klasse_(c, fenster, XCB_ATOM_WM_CLASS),
        zustand_(c, fenster, atome[X11Name::NET_WM_STATE]),
        typ_(c, fenster, atome[X11Name::NET_WM_WINDOW_TYPE]),
        schreibtisch_(c, fenster, atome[X11Name::NET_WM_DESKTOP]),
        rahmen_(c, fenster, atome[X11Name::NET_FRAME_EXTENTS]),
        schatten_(c, fenster, atome[X11Name::GTK_FRAME_EXTENTS]),
        desktopDateien_{{c, fenster, atome[X11Name::KDE_NET_WM_DESKTOP_FILE]},
                        {c, fenster, atome[X11Name::GTK_APPLICATION_ID]},
                        {c, fenster, atome[X11Name::BAMF_DESKTOP_FILE]}} {}

  // The window; nullopt if it has vanished or does not count. All answers are read in any case, or
  // libxcb would keep them.
  [[nodiscard]] std::optional<ScreenWindow> lies(std::optional<std::uint32_t> schreibtisch) {
    const X11Antwort<xcb_get_window_attributes_reply_t> attribute(
        xcb_get_window_attributes_reply(c_, attribute_, nullptr));
    const X11Antwort<xcb_get_geometry_reply_t> masse(xcb_get_geometry_reply(c_, masse_, nullptr));
    const X11Antwort<xcb_translate_coordinates_reply_t> ort(
        xcb_translate_coordinates_reply(c_, ort_, nullptr));
    for (X11Eigenschaft* eigenschaft :
         {&titel_, &alterTitel_, &klasse_, &zustand_, &typ_, &schreibtisch_, &rahmen_, &schatten_,
          &desktopDateien_[0], &desktopDateien_[1], &desktopDateien_[2]}) {
      eigenschaft->lies();
    }
    if (!attribute || !masse || !ort) return std::nullopt;
    if (attribute->override_redirect != 0 || attribute->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT) {
      return std::nullopt;
    }
    if (istVom(X11Name::NET_WM_WINDOW_TYPE_DESKTOP)) return std::nullopt;

    ScreenWindow fenster;
    fenster.id = id_;
    fenster.titel = titel();
    fenster.anwendung = anwendung();
    setzeRahmen(fenster, *masse, *ort);
    fenster.sichtbar =
        attribute->map_state == XCB_MAP_STATE_VIEWABLE && gezeigt() && liegtAuf(schreibtisch);
    fenster.ebene = ebene();
    return fenster;
  }

 private:
  static bool enthaelt(const X11Eigenschaft& eigenschaft, xcb_atom_t atom) {
    const auto zahlen = eigenschaft.zahlen();
    return atom != XCB_ATOM_NONE && std::find(zahlen.begin(), zahlen.end(), atom) != zahlen.end();
  }
  [[nodiscard]] bool hat(X11Name zustand) const { return enthaelt(zustand_, (*atome_)[zustand]); }
  [[nodiscard]] bool istVom(X11Name typ) const { return enthaelt(typ_, (*atome_)[typ]); }

  [[nodiscard]] std::string text(const X11Eigenschaft& eigenschaft) const {
    if (eigenschaft.art() == (*atome_)[X11Name::UTF8_STRING]) {
      return x11Text(X11TextArt::UTF8, eigenschaft.bytes());
    }
    const bool verbund = eigenschaft.art() == (*atome_)[X11Name::COMPOUND_TEXT];
    return x11Text(verbund ? X11TextArt::COMPOUND : X11TextArt::STRING, eigenschaft.bytes());
  }

  [[nodiscard]] std::optional<std::string> titel() const {
    if (!titel_.bytes().empty()) return text(titel_);
    if (alterTitel_.art() == XCB_ATOM_NONE) return std::nullopt;
    return text(alterTitel_);
  }

  [[nodiscard]] std::optional<ScreenWindow::Anwendung> anwendung() const {
    AppMerkmale merkmale;
    const std::string_view beide = klasse_.bytes();
    merkmale.instanz = x11Text(X11TextArt::STRING, beide);
    const std::size_t ende = beide.find('\0');
    if (ende != std::string_view::npos) {
      merkmale.klasse = x11Text(X11TextArt::STRING, beide.substr(ende + 1));
    }
    for (const X11Eigenschaft& datei : desktopDateien_) {
      if (merkmale.desktopDatei.empty()) merkmale.desktopDatei = text(datei);
    }
    return anwendungAus(merkmale);
  }

  void setzeRahmen(ScreenWindow& fenster, const xcb_get_geometry_reply_t& masse,
                   const xcb_translate_coordinates_reply_t& ort) const {
    const X11Raender rahmen = x11Raender(rahmen_);
    const X11Raender schatten = alsSchatten(x11Raender(schatten_), masse.width, masse.height);
    const int links = rahmen.links - schatten.links;
    const int oben = rahmen.oben - schatten.oben;
    fenster.x = ort.dst_x - links;
    fenster.y = ort.dst_y - oben;
    fenster.breite = masse.width + links + rahmen.rechts - schatten.rechts;
    fenster.hoehe = masse.height + oben + rahmen.unten - schatten.unten;
  }

  [[nodiscard]] bool gezeigt() const {
    return !hat(X11Name::NET_WM_STATE_HIDDEN) || hat(X11Name::NET_WM_STATE_SHADED);
  }

  [[nodiscard]] bool liegtAuf(std::optional<std::uint32_t> schreibtisch) const {
    constexpr std::uint32_t ALLE = 0xFFFFFFFF;
    if (!schreibtisch || schreibtisch_.zahlen().empty()) return true;
    const std::uint32_t eigener = schreibtisch_.zahlen().front();
    return eigener == ALLE || eigener == *schreibtisch;
  }

  [[nodiscard]] std::int64_t ebene() const {
    if (hat(X11Name::NET_WM_STATE_FULLSCREEN)) return 2;
    if (hat(X11Name::NET_WM_STATE_BELOW)) return -1;
    return hat(X11Name::NET_WM_STATE_ABOVE) || istVom(X11Name::NET_WM_WINDOW_TYPE_DOCK) ? 1 : 0;
  }

  xcb_connection_t* c_;
  const X11Atome* atome_;
  xcb_window_t id_;
  xcb_get_window_attributes_cookie_t attribute_;
  xcb_get_geometry_cookie_t masse_;
  xcb_translate_coordinates_cookie_t ort_;
  X11Eigenschaft titel_;
  X11Eigenschaft alterTitel_;
  X11Eigenschaft klasse_;
  X11Eigenschaft zustand_;
  X11Eigenschaft typ_;
  X11Eigenschaft schreibtisch_;
  X11Eigenschaft rahmen_;
  X11Eigenschaft schatten_;
  X11Eigenschaft desktopDateien_[3];
};

// The name of the process at the other end of the window's connection, if it is one of this
// computer.
std::string prozessName(xcb_connection_t* c, xcb_res_query_client_ids_cookie_t frage) {
  const X11Antwort<xcb_res_query_client_ids_reply_t> antwort(
      xcb_res_query_client_ids_reply(c, frage, nullptr));
  if (!antwort) return {};
  // For each client three words (whom, which kind, bytes that follow), then the number.
  constexpr std::size_t KOPF = 3;
  auto worte = x11Werte(*antwort, reinterpret_cast<const std::uint32_t*>(antwort.get() + 1),
                        antwort->length);
  for (std::uint32_t k = 0; k < antwort->num_ids && worte.size() > KOPF; ++k) {
    const std::size_t anzahl = std::min<std::size_t>(worte[KOPF - 1] / 4, worte.size() - KOPF);
    const std::uint32_t nummer = worte[KOPF];
    worte = worte.subspan(KOPF + anzahl);
    if (anzahl < 1) continue;
    std::ifstream datei("/proc/" + std::to_string(nummer) + "/comm");
    std::string name;
    if (std::getline(datei, name)) return x11Text(X11TextArt::UTF8, name);
  }
  return {};
}

void ergaenzeAnwendungen(xcb_connection_t* c, ScreenContent& content) {
  const auto* ressourcen = xcb_get_extension_data(c, xcb_res_id);
  if (ressourcen == nullptr || ressourcen->present == 0) return;
  std::vector<std::pair<ScreenWindow*, xcb_res_query_client_ids_cookie_t>> fragen;
  for (ScreenWindow& fenster : content.windows) {
    if (fenster.anwendung) continue;
    const xcb_res_client_id_spec_t wer{fenster.id, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    fragen.emplace_back(&fenster, xcb_res_query_client_ids(c, 1, &wer));
  }
  for (auto& [fenster, frage] : fragen) {
    fenster->anwendung =
        anwendungAus({.instanz = prozessName(c, frage), .klasse = {}, .desktopDatei = {}});
  }
}

}  // namespace

Ergebnis liesFenster(const X11Verbindung& verbindung, ScreenContent& content) {
  xcb_connection_t* c = verbindung.get();
  const xcb_window_t wurzel = verbindung.schirm().root;
  xcb_prefetch_extension_data(c, xcb_res_id);
  const X11Atome atome(c);
  X11Eigenschaft schreibtisch(c, wurzel, atome[X11Name::NET_CURRENT_DESKTOP]);

  std::vector<Anfrage> anfragen;
  for (const xcb_window_t fenster : Liste(c, wurzel, atome).lies()) {
    anfragen.emplace_back(c, wurzel, fenster, atome);
  }
  schreibtisch.lies();
  std::optional<std::uint32_t> aktueller;
  if (!schreibtisch.zahlen().empty()) aktueller = schreibtisch.zahlen().front();

  content.windows.clear();
  for (Anfrage& anfrage : anfragen) {
    if (auto fenster = anfrage.lies(aktueller)) content.windows.push_back(std::move(*fenster));
  }
  ergaenzeAnwendungen(c, content);
  if (auto verloren = verbindung.verloren()) return *std::move(verloren);
  return {};
}

}  // namespace hallkorb
