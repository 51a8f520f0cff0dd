// The recorded window, as it is known to the server.
//
// Redirected (Composite), so that its pixels exist whole wherever it is covered or off the screen;
// the frame of the window manager stays out of the picture. The pixels are read from a pixmap that
// is named for the window. A name holds for one pixmap only, and the window gets a new one with
// each size and each time it is mapped; the old one stays readable with its old content, without an
// error. So it is named again after such an event, when the next picture is due. The window is
// unmapped, too, when the frame that holds it is (or what holds the frame), of which it is told
// nothing: so the events of all its ancestors are listened to.
//
// A new pixmap is empty at first: the program behind the window has yet to draw it, and draws again
// what was covered before the redirection. So after such a change the next picture waits for what
// is drawn then, or for a while in which nothing is.
//
// Damage tells that something was drawn: one event, then silence until nimmVeraendert() arms it
// anew.
//
// The thread of the connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/Fehler.h"
#include "platform/linux/screen/X11Punktformat.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

class X11Fenster {
 public:
  using Uhr = std::chrono::steady_clock;

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

  // Null, and `fehler` filled, where the window cannot be recorded. Composite and Damage must have
  // been greeted.
  [[nodiscard]] static std::unique_ptr<X11Fenster> neu(const X11Verbindung& verbindung,
                                                       xcb_window_t id, Fehler& fehler);
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
  // Whether it has pixels now.
  [[nodiscard]] bool sichtbar() const { return sichtbar_ && !zerstoert_; }
  // Whether it may look different from the last picture.
  [[nodiscard]] bool veraendert() const { return veraendert_; }
  void setzeVeraendert() { veraendert_ = true; }
  // How its pixels lie in memory.
  [[nodiscard]] const X11Punktformat& punktformat() const { return punktformat_; }
  // When the next picture may be read.
  [[nodiscard]] Uhr::time_point bereitAb() const { return bereitAb_; }
  // To be called before a picture is asked for: what is drawn from then on counts as a new change.
  void nimmVeraendert();
  // Where its pixels are; without a pixmap where there are none just now.
  [[nodiscard]] const Quelle& quelle();
  // Nothing could be read from there: names it again for the next picture, which is due.
  void verwirfPixmap();
  // Takes nothing that is known of it for granted any more: asks for its ancestors and whether it
  // is visible, and names its pixels again.
  void siehNach();

 private:
  X11Fenster(const X11Verbindung& verbindung, xcb_window_t id);
  // How wide the shadow is at each side.
  struct Schatten {
    int links = 0;
    int rechts = 0;
    int oben = 0;
    int unten = 0;
  };

  [[nodiscard]] Ergebnis beginne();
  void merkeSchaden(const xcb_generic_event_t& ereignis);
  void liesSchatten();
  void beginneFlaeche();
  void warteAufGemaltes();

  const X11Verbindung& verbindung_;
  const xcb_window_t id_;
  xcb_damage_damage_t schaden_ = XCB_NONE;
  std::vector<xcb_window_t> vorfahren_;  // up to the one below the root window
  xcb_atom_t schattenName_ = XCB_ATOM_NONE;
  Schatten schatten_;
  X11Punktformat punktformat_;
  Quelle quelle_;
  Uhr::time_point bereitAb_{};
  Uhr::time_point neuSeit_{};   // since when the pixels are new, while they are
  bool neu_ = false;            // no picture has shown them
  std::uint32_t gemaltAb_ = 0;  // the request after which Damage is the program's drawing
  int breite_ = 0;              // as the last event told, to tell a new size from a mere move
  int hoehe_ = 0;
  bool sichtbar_ = false;
  bool zerstoert_ = false;
  bool veraendert_ = true;
};

}  // namespace hallkorb
