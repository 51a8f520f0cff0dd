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
// Damage tells that something was drawn: one event, then silence until nimmVeraendert() arms it
// anew.
//
// The thread of the connection.
#pragma once

#include <memory>
#include <vector>

#include "base/Fehler.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

class X11Fenster {
 public:
  // The part of a drawable that is the window without its border.
  struct Quelle {
    xcb_pixmap_t pixmap = XCB_NONE;
    int rand = 0;
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
  [[nodiscard]] Ergebnis beginne();

  const X11Verbindung& verbindung_;
  const xcb_window_t id_;
  xcb_damage_damage_t schaden_ = XCB_NONE;
  std::vector<xcb_window_t> vorfahren_;  // up to the one below the root window
  Quelle quelle_;
  int breite_ = 0;  // as the last event told, to tell a new size from a mere move
  int hoehe_ = 0;
  bool sichtbar_ = false;
  bool zerstoert_ = false;
  bool veraendert_ = true;
};

}  // namespace hallkorb
