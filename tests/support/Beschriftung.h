// Large letters for a window that is to be recognised in a video, without any library for fonts:
// the server's own small font, each of its points drawn as a square.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>
#include <vector>

namespace hallkorb {

class Beschriftung {
 public:
  // Both must outlive this object.
  Beschriftung(xcb_connection_t* verbindung, const xcb_screen_t& schirm);
  ~Beschriftung();
  Beschriftung(const Beschriftung&) = delete;
  Beschriftung& operator=(const Beschriftung&) = delete;

  // The text (UTF-8; what the font lacks becomes "-") as squares of `seite` pixels in the middle of
  // an area of that size. It is cut off if it does not fit.
  std::vector<xcb_rectangle_t> quadrate(const std::string& text, int breite, int hoehe, int seite);

 private:
  struct Punkt {
    int x;
    int y;
  };
  void rastere(const std::string& latin1);

  xcb_connection_t* c_;
  const xcb_screen_t& schirm_;
  xcb_font_t schrift_;
  std::string gerastert_;  // the text that is in punkte_
  std::vector<Punkt> punkte_;
};

}  // namespace hallkorb
