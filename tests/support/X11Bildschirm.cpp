#include "tests/support/X11Bildschirm.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "platform/linux/screen/X11Atome.h"
#include "platform/linux/screen/X11Eigenschaft.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "tests/support/Warten.h"

namespace hallkorb {
namespace {

std::vector<std::string> programm(const std::string& display, std::vector<std::string> optionen) {
  std::vector<std::string> worte{HALLKORB_TESTFENSTER, "--display", display};
  std::move(optionen.begin(), optionen.end(), std::back_inserter(worte));
  return worte;
}

std::vector<std::string> serverBefehl(const X11Bildschirm::Server& server) {
  std::vector<std::string> worte = server.davor;
  // The server writes the number of the display that it has found free, to standard output.
  const std::string schirm = "1600x1000x" + std::to_string(server.farbtiefe);
  for (const char* wort : {"Xvfb", "-displayfd", "1", "-screen", "0", schirm.c_str(), "-nolisten",
                           "tcp", "-noreset"}) {
    worte.emplace_back(wort);
  }
  worte.insert(worte.end(), server.optionen.begin(), server.optionen.end());
  return worte;
}

}  // namespace

Fensterprogramm::Fensterprogramm(const std::string& display, std::vector<std::string> optionen)
    : prozess_(programm(display, std::move(optionen))),
      id_(static_cast<std::uint32_t>(std::stoul(prozess_.liesZeile()))) {}

void Fensterprogramm::tu(const std::string& befehl) {
  prozess_.schreibe(befehl);
  if (prozess_.liesZeile() != "ok") throw std::runtime_error("testfenster: " + befehl);
}

X11Bildschirm::X11Bildschirm(Verwalter verwalter) : X11Bildschirm(verwalter, Server()) {}

X11Bildschirm::X11Bildschirm(Verwalter verwalter, const Server& server)
    : server_(std::make_unique<Prozess>(serverBefehl(server), Prozess::Fehlerausgabe::VERWORFEN)),
      display_(":" + server_->liesZeile()) {
  if (verwalter == Verwalter::KEINER) return;
  if (verwalter == Verwalter::TWM) {
    // The one font that every X server has.
    const std::string datei = ordner_ / "twmrc";
    std::ofstream twmrc(datei);
    for (const char* wofuer : {"Title", "Resize", "Menu", "Icon", "IconManager"})
      twmrc << wofuer << "Font \"fixed\"\n";
    twmrc.close();
    verwalter_ = std::make_unique<Prozess>(
        std::vector<std::string>{"twm", "-display", display_, "-f", datei},
        Prozess::Fehlerausgabe::VERWORFEN);
    if (!warteBis([this] { return fensterWerdenVerwaltet(); })) {
      throw std::runtime_error("no twm");
    }
    return;
  }
  verwalter_ = std::make_unique<Prozess>(
      std::vector<std::string>{"env", "DISPLAY=" + display_, "openbox", "--sm-disable"},
      Prozess::Fehlerausgabe::VERWORFEN);
  if (!warteBis([this] { return verwalterDa(); })) throw std::runtime_error("no openbox");
}

std::unique_ptr<Fensterprogramm> X11Bildschirm::fenster(std::vector<std::string> optionen) const {
  return std::make_unique<Fensterprogramm>(display_, std::move(optionen));
}

ScreenContent X11Bildschirm::inventar() const {
  ScreenContent content;
  if (const Ergebnis ergebnis = schirm().inventar(content); ergebnis.gescheitert()) {
    throw std::runtime_error(ergebnis.fehler().gedruckt());
  }
  return content;
}

std::optional<ScreenWindow> X11Bildschirm::finde(std::uint32_t id) const {
  const ScreenContent content = inventar();
  const auto treffer = std::find_if(content.windows.begin(), content.windows.end(),
                                    [id](const ScreenWindow& fenster) { return fenster.id == id; });
  return treffer != content.windows.end() ? std::optional(*treffer) : std::nullopt;
}

bool X11Bildschirm::warteAuf(std::uint32_t id,
                             const std::function<bool(const ScreenWindow&)>& bedingung) const {
  return warteBis([&] {
    const auto fenster = finde(id);
    return fenster && bedingung(*fenster);
  });
}

void X11Bildschirm::setzeZeiger(int x, int y) const {
  X11Verbindung verbindung(display_, std::chrono::hours(1));
  if (verbindung.oeffne().gescheitert()) throw std::runtime_error("no X server");
  xcb_connection_t* c = verbindung.get();
  xcb_warp_pointer(c, XCB_NONE, verbindung.schirm().root, 0, 0, 0, 0, static_cast<std::int16_t>(x),
                   static_cast<std::int16_t>(y));
  const X11Antwort<xcb_get_input_focus_reply_t> fertig(
      xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

void X11Bildschirm::beendeVerwalter() {
  verwalter_->beende(SIGKILL);
  verwalter_.reset();
}

bool X11Bildschirm::verwalterDa() const {
  X11Verbindung verbindung(display_, std::chrono::hours(1));
  if (verbindung.oeffne().gescheitert()) return false;
  const X11Atome atome(verbindung.get());
  const xcb_window_t wurzel = verbindung.schirm().root;
  X11Eigenschaft verwalter(verbindung.get(), wurzel, atome[X11Name::NET_SUPPORTING_WM_CHECK]);
  X11Eigenschaft liste(verbindung.get(), wurzel, atome[X11Name::NET_CLIENT_LIST]);
  verwalter.lies();
  liste.lies();
  return !verwalter.zahlen().empty() && liste.art() != XCB_ATOM_NONE;
}

bool X11Bildschirm::fensterWerdenVerwaltet() const {
  X11Verbindung verbindung(display_, std::chrono::hours(1));
  if (verbindung.oeffne().gescheitert()) return false;
  xcb_connection_t* c = verbindung.get();
  const X11Antwort<xcb_get_window_attributes_reply_t> wurzel(xcb_get_window_attributes_reply(
      c, xcb_get_window_attributes(c, verbindung.schirm().root), nullptr));
  return wurzel && (wurzel->all_event_masks & XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT) != 0;
}

}  // namespace hallkorb
