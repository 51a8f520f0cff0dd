#include "platform/linux/screen/X11Punktformat.h"

#include <array>
#include <bit>
#include <cstring>

namespace hallkorb {
namespace {

bool zusammenhaengend(std::uint32_t maske) {
  return maske != 0 && std::has_single_bit((std::uint64_t{maske} >> std::countr_zero(maske)) + 1);
}

// A colour of a pixel, brought to eight bits.
class Farbe {
 public:
  explicit Farbe(std::uint32_t maske)
      : verschiebung_(std::countr_zero(maske)), groesster_(maske >> verschiebung_) {
    // Up to eight bits by a table: 31 of 31 is white, as 255 of 255 is.
    if (groesster_ > 0xFF) return;
    for (std::uint32_t wert = 0; wert <= groesster_; ++wert)
      tabelle_[wert] = static_cast<std::uint8_t>((wert * 255 + groesster_ / 2) / groesster_);
  }
  [[nodiscard]] std::uint8_t aus(std::uint32_t punkt) const {
    const std::uint32_t wert = (punkt >> verschiebung_) & groesster_;
    if (groesster_ <= 0xFF) return tabelle_[wert];
    return static_cast<std::uint8_t>(wert >> (std::bit_width(groesster_) - 8));
  }

 private:
  int verschiebung_;
  std::uint32_t groesster_;
  std::array<std::uint8_t, 256> tabelle_{};
};

template <typename Punkt>
void wandleZeile(const std::uint8_t* zeile, std::size_t breite, const std::array<Farbe, 3>& farben,
                 std::uint8_t* ziel) {
  for (std::size_t x = 0; x < breite; ++x) {
    Punkt punkt = 0;
    std::memcpy(&punkt, zeile + x * sizeof punkt, sizeof punkt);
    for (const Farbe& farbe : farben)
      *ziel++ = farbe.aus(punkt);
    *ziel++ = 0;
  }
}

const xcb_visualtype_t* suchVisual(const xcb_setup_t* setup, xcb_visualid_t id) {
  for (auto schirm = xcb_setup_roots_iterator(setup); schirm.rem > 0; xcb_screen_next(&schirm)) {
    auto tiefe = xcb_screen_allowed_depths_iterator(schirm.data);
    for (; tiefe.rem > 0; xcb_depth_next(&tiefe)) {
      auto visual = xcb_depth_visuals_iterator(tiefe.data);
      for (; visual.rem > 0; xcb_visualtype_next(&visual)) {
        if (visual.data->visual_id == id) return visual.data;
      }
    }
  }
  return nullptr;
}

}  // namespace

std::optional<X11Punktformat> X11Punktformat::neu(int bitsJePunkt, int zeilenBits,
                                                  const Masken& masken) {
  if (bitsJePunkt != 16 && bitsJePunkt != 32) return std::nullopt;
  if (zeilenBits < 8 || zeilenBits % 8 != 0) return std::nullopt;
  for (const std::uint32_t maske : {masken.rot, masken.gruen, masken.blau}) {
    if (!zusammenhaengend(maske)) return std::nullopt;
  }
  X11Punktformat format;
  format.bytesJePunkt_ = static_cast<std::size_t>(bitsJePunkt) / 8;
  format.zeilenBytes_ = static_cast<std::size_t>(zeilenBits) / 8;
  format.masken_ = masken;
  return format;
}

std::optional<X11Punktformat> X11Punktformat::suche(const xcb_setup_t* setup, xcb_visualid_t visual,
                                                    std::uint8_t tiefe) {
  if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return std::nullopt;
  const xcb_visualtype_t* v = suchVisual(setup, visual);
  if (v == nullptr) return std::nullopt;
  for (auto i = xcb_setup_pixmap_formats_iterator(setup); i.rem > 0; xcb_format_next(&i)) {
    if (i.data->depth != tiefe) continue;
    return neu(i.data->bits_per_pixel, i.data->scanline_pad,
               {v->red_mask, v->green_mask, v->blue_mask});
  }
  return std::nullopt;
}

bool X11Punktformat::istBgr() const {
  const Masken bgr;
  return bytesJePunkt_ == 4 && zeilenBytes_ <= 4 && masken_.rot == bgr.rot &&
         masken_.gruen == bgr.gruen && masken_.blau == bgr.blau;
}

std::size_t X11Punktformat::zeilenLaenge(int breite) const {
  const std::size_t bytes = static_cast<std::size_t>(breite) * bytesJePunkt_;
  return (bytes + zeilenBytes_ - 1) / zeilenBytes_ * zeilenBytes_;
}

void X11Punktformat::wandle(std::span<const std::uint8_t> roh, int breite, int hoehe,
                            std::vector<std::uint8_t>& bgr) const {
  const auto punkte = static_cast<std::size_t>(breite);
  const auto zeilen = static_cast<std::size_t>(hoehe);
  const std::array<Farbe, 3> farben{Farbe(masken_.blau), Farbe(masken_.gruen), Farbe(masken_.rot)};
  bgr.resize(punkte * zeilen * 4);
  for (std::size_t y = 0; y < zeilen; ++y) {
    const std::uint8_t* zeile = roh.subspan(y * zeilenLaenge(breite), zeilenLaenge(breite)).data();
    std::uint8_t* ziel = bgr.data() + y * punkte * 4;
    if (bytesJePunkt_ == 2) {
      wandleZeile<std::uint16_t>(zeile, punkte, farben, ziel);
    } else {
      wandleZeile<std::uint32_t>(zeile, punkte, farben, ziel);
    }
  }
}

}  // namespace hallkorb
