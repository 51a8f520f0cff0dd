// Fits a window's picture into the video's: scaled with its aspect ratio kept, the rest black, the
// colours converted to those of the video (BT.709, limited range, one chroma value for four
// pixels).
//
// This is a good part of what a recorded picture costs. So a window of the video's size goes
// straight from the memory that the X server filled to the frame that the encoder takes. If the
// sizes differ, the colours come first: a frame has three bytes for two pixels, and libswscale
// scales those in half the time.
//
// Filter: bilinear, which libswscale widens when it reduces, so that every pixel counts; text stays
// legible. One thread at a time.
#pragma once

#include "base/Fehler.h"
#include "platform/linux/BgrBild.h"
#include "platform/linux/video/Libav.h"

namespace hallkorb {

// Where a picture of one size lies in one of another; all even, since chroma has half the
// resolution.
struct Bildflaeche {
  int x = 0;
  int y = 0;
  int breite = 0;
  int hoehe = 0;

  friend bool operator==(const Bildflaeche&, const Bildflaeche&) = default;
};

// The largest one with the source's aspect ratio, in the middle. At least 2 x 2.
[[nodiscard]] Bildflaeche flaecheIn(int zielBreite, int zielHoehe, int breite, int hoehe);

class Letterbox {
 public:
  // Draws `bild` into `ziel`, a frame in AV_PIX_FMT_YUV420P whose size is even.
  [[nodiscard]] Ergebnis zeichne(const BgrBild& bild, AVFrame& ziel);

 private:
  [[nodiscard]] Ergebnis richteEin(const BgrBild& bild, const AVFrame& ziel);
  [[nodiscard]] Ergebnis legeZwischenbildAn(const BgrBild& bild);

  int breite_ = 0;  // of the pictures that all of this is made for
  int hoehe_ = 0;
  Bildflaeche flaeche_;
  LibavZeiger<AVFrame> zwischen_;  // in the video's colours and the window's size; null if they fit
  LibavZeiger<SwsContext> skalierer_;
};

}  // namespace hallkorb
