// The recorded window, as the server knows it.
//
// It is redirected (Composite): its pixels then lie in a pixmap of their own, complete even if it
// is covered or off the screen, and without the window manager's frame.
//
// The server replaces that pixmap with each new size and each time the window is mapped. The old
// one stays readable without an error, with its old content. So after such an event we ask for the
// present pixmap before the next picture is read. A window also loses its pixels if its frame, or
// what holds the frame, is unmapped; it gets no event of that, so we listen to all its ancestors.
//
// A new pixmap is empty until the program behind the window draws into it, and so is a part of the
// window that the server has filled itself, which it reports like any exposure. The next picture
// waits until that is painted (Anstrich.h).
//
// Damage reports that something was drawn: one event, then none until the next is asked for, by
// nimmVeraendert() or, while a surface is being painted, after each.
//
// The thread of the connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "base/Fehler.h"
#include "platform/linux/screen/Anstrich.h"
#include "platform/linux/screen/X11Punktformat.h"
#include "platform/linux/screen/X11Raender.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

class X11Fenster {
 public:
  using Uhr = Anstrich::Uhr;
  using Zeitgeber = std::function<Uhr::time_point()>;

  // The part of a drawable that is the window without its border and without a shadow that it draws
  // itself.
  struct Quelle {
    xcb_pixmap_t pixmap = XCB_NONE;
    int x = 0;  // in the pixmap
    int y = 0;
    int fensterX = 0;  // the same corner in the window
    int fensterY = 0;
    int breite = 0;
    int hoehe = 0;
  };

  // Null, with the reason in `fehler`, if the window cannot be recorded. The versions of Composite
  // and Damage must have been agreed with the server. `jetzt` is the clock of bereitAb().
  [[nodiscard]] static std::unique_ptr<X11Fenster> neu(const X11Verbindung& verbindung,
                                                       xcb_window_t id, Fehler& fehler,
                                                       const AnstrichFristen& fristen = {},
                                                       Zeitgeber jetzt = &Uhr::now);
  ~X11Fenster();
  X11Fenster(const X11Fenster&) = delete;
  X11Fenster& operator=(const X11Fenster&) = delete;

  void ereignis(const xcb_generic_event_t& ereignis);

  [[nodiscard]] xcb_window_t id() const { return id_; }
  // The child of the root window that holds it.
  [[nodiscard]] xcb_window_t oberstes() const {
    return vorfahren_.empty() ? id_ : vorfahren_.back();
  }
  [[nodiscard]] bool zerstoert() const { return zerstoert_; }
  // The error of a window that has been closed.
  [[nodiscard]] Fehler verschwunden() const;
  // Whether it has pixels now.
  [[nodiscard]] bool sichtbar() const { return sichtbar_ && !zerstoert_; }
  // Whether it may look different from the last picture.
  [[nodiscard]] bool veraendert() const { return veraendert_; }
  void setzeVeraendert() { veraendert_ = true; }
  // How its pixels lie in memory.
  [[nodiscard]] const X11Punktformat& punktformat() const { return punktformat_; }
  // When the next picture may be read.
  [[nodiscard]] Uhr::time_point bereitAb() const { return anstrich_.fertigAb(); }
  // Whether its present surface is in no picture yet.
  [[nodiscard]] bool ungesehen() const { return anstrich_.offen(); }
  // To be called before a picture is asked for: what is drawn from then on counts as a new change.
  void nimmVeraendert();
  // To be called when the picture has been read, and the events up to then. Whether the window has
  // become another one meanwhile, so that the picture may be of an unpainted one.
  [[nodiscard]] bool verwirftBild() { return anstrich_.wartetWeiter(jetzt_()); }
  // Where its pixels are; without a pixmap if it has none at present.
  [[nodiscard]] const Quelle& quelle();
  // Forgets the pixmap; quelle() will ask for the present one. A picture is due.
  void verwirfPixmap();
  // Discards what is known of the window: its ancestors, whether it is visible, its pixmap.
  void siehNach();

 private:
  X11Fenster(const X11Verbindung& verbindung, xcb_window_t id, const AnstrichFristen& fristen,
             Zeitgeber jetzt);
  [[nodiscard]] Ergebnis beginne();
  [[nodiscard]] Ergebnis fordereAn();
  [[nodiscard]] Ergebnis liesEigenschaften();
  void merkeSchaden(const xcb_generic_event_t& ereignis);
  void merkeLeere(const xcb_generic_event_t& ereignis);
  void merkeEigenschaft(const xcb_generic_event_t& ereignis);
  void merkeLage(const xcb_generic_event_t& ereignis);
  void merkeGroesse(const xcb_configure_notify_event_t& ereignis);
  void liesSchatten();
  void beginneFlaeche();
  void warteAufGemaltes();

  const X11Verbindung& verbindung_;
  const xcb_window_t id_;
  const Zeitgeber jetzt_;
  xcb_damage_damage_t schaden_ = XCB_NONE;
  std::vector<xcb_window_t> vorfahren_;  // up to the one below the root window
  xcb_atom_t schattenName_ = XCB_ATOM_NONE;
  X11Raender schatten_;
  X11Punktformat punktformat_;
  Quelle quelle_;
  Anstrich anstrich_;
  std::uint32_t gemaltAb_ = 0;  // the request after which Damage is the program's drawing
  int breite_ = 0;              // as of the last event, to distinguish a new size from a mere move
  int hoehe_ = 0;
  bool sichtbar_ = false;
  bool zerstoert_ = false;
  bool veraendert_ = true;
};

}  // namespace hallkorb
