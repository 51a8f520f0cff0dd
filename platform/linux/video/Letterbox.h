// Fits a window's picture into the video's: scaled with its aspect ratio kept, the rest black, the
// colours converted to those of the video (BT.709, limited range, one chroma value for four
// pixels).
//
// This is a good part of what a recorded picture costs, so it happens once, straight from the
// memory that the X server filled to the frame that the encoder takes.
//
// Filter: bilinear, which libswscale widens when it reduces, so that every pixel counts; text stays
// legible. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/Fehler.h"
#include "platform/linux/BgrBild.h"
#include "platform/linux/video/Libav.h"

namespace hallkorb {

// Where a picture of one size lies in one of another; all even, since chroma has half the
// resolution.
struct Lage {
  int x = 0;
  int y = 0;
  int breite = 0;
  int hoehe = 0;

  friend bool operator==(const Lage&, const Lage&) = default;
};

// The largest place with the source's aspect ratio, in the middle. At least 2 x 2.
[[nodiscard]] Lage lageIn(int zielBreite, int zielHoehe, int breite, int hoehe);

class Letterbox {
 public:
  // Draws `bild` into `ziel`, a frame in AV_PIX_FMT_YUV420P whose size is even.
  [[nodiscard]] Ergebnis zeichne(const BgrBild& bild, AVFrame& ziel);

 private:
  [[nodiscard]] Ergebnis richteEin(const BgrBild& bild, const AVFrame& ziel);
  [[nodiscard]] Ergebnis wandle(const std::uint8_t* daten, std::size_t zeile, int ab, int anzahl,
                                std::uint8_t* const ebenen[], AVFrame& ziel);

  LibavZeiger<SwsContext> wandler_;
  int breite_ = 0;  // of the pictures that `wandler_` is made for
  int hoehe_ = 0;
  Lage lage_;
  std::vector<std::uint8_t> ende_;  // the last rows of a picture
};

}  // namespace hallkorb
