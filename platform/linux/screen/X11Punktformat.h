// How an X server lays a window's pixels out in memory, and how a BgrBild is made of them.
//
// Nearly every screen has 24 bits of colour in four bytes, which is what a BgrBild holds: nothing
// is done then. Screens of 15 and 16 bits (remote desktops, small machines) and of 30 bits (photo
// displays) are converted, at a cost that only they bear. What has no colours of its own (palettes)
// or lies in the memory of a big-endian machine is not recorded.
//
// Values; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

class X11Punktformat {
 public:
  // The bits that a colour has in a pixel.
  struct Masken {
    std::uint32_t rot = 0xFF0000;
    std::uint32_t gruen = 0x00FF00;
    std::uint32_t blau = 0x0000FF;
  };

  X11Punktformat() = default;  // as in a BgrBild
  // `bitsJePunkt` is 16 or 32; a row begins at a multiple of `zeilenBits`. nullopt for anything
  // else, and for a mask that is empty or has a gap.
  [[nodiscard]] static std::optional<X11Punktformat> neu(int bitsJePunkt, int zeilenBits,
                                                         const Masken& masken);
  // The one of windows with this visual and depth; nullopt if it is not recorded.
  [[nodiscard]] static std::optional<X11Punktformat> suche(const xcb_setup_t* setup,
                                                           xcb_visualid_t visual,
                                                           std::uint8_t tiefe);

  [[nodiscard]] bool istBgr() const;
  // Bytes from row to row.
  [[nodiscard]] std::size_t zeilenLaenge(int breite) const;
  // Four bytes for each pixel, rows without gaps, as a BgrBild has them; `roh` holds `hoehe` rows.
  void wandle(std::span<const std::uint8_t> roh, int breite, int hoehe,
              std::vector<std::uint8_t>& bgr) const;

 private:
  std::size_t bytesJePunkt_ = 4;
  std::size_t zeilenBytes_ = 4;
  Masken masken_;
};

}  // namespace hallkorb
