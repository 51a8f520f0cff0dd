// A picture of a window as the X server gives it: rows of pixels of four bytes: blue, green, red
// and an unused one.
//
// What X11ScreenCapture hands over and H264Schreiber takes. Refers to memory of the stream; valid
// only during the call that hands it over.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/ScreenCapture.h"

namespace hallkorb {

class BgrBild final : public Bild {
 public:
  BgrBild(double zeit, const std::uint8_t* daten, int breite, int hoehe, std::size_t zeilenLaenge,
          std::uint32_t fenster = 0)
      : zeit_(zeit),
        daten_(daten),
        breite_(breite),
        hoehe_(hoehe),
        zeilenLaenge_(zeilenLaenge),
        fenster_(fenster) {}

  [[nodiscard]] double zeit() const override { return zeit_; }
  [[nodiscard]] BildStatus status() const override { return BildStatus::vollstaendig; }
  [[nodiscard]] std::uint32_t fenster() const override { return fenster_; }

  [[nodiscard]] const std::uint8_t* daten() const { return daten_; }  // the top row's first pixel
  [[nodiscard]] int breite() const { return breite_; }
  [[nodiscard]] int hoehe() const { return hoehe_; }
  [[nodiscard]] std::size_t zeilenLaenge() const { return zeilenLaenge_; }  // bytes from row to row

 private:
  double zeit_;
  const std::uint8_t* daten_;
  int breite_;
  int hoehe_;
  std::size_t zeilenLaenge_;
  std::uint32_t fenster_;
};

}  // namespace hallkorb
