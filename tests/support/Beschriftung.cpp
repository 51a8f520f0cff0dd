#include "tests/support/Beschriftung.h"

#include <algorithm>
#include <cstdlib>

namespace hallkorb {
namespace {

// Size of a letter in the font "fixed", which every X server has built in.
constexpr int LETTER_BREITE = 6;
constexpr int LETTER_HOEHE = 13;
constexpr int GRUNDLINIE = 11;

std::string latin1(const std::string& utf8) {
  std::string ergebnis;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    if (byte < 0x80) {
      ergebnis += utf8[i];
    } else if ((byte == 0xC2 || byte == 0xC3) && i + 1 < utf8.size()) {
      ++i;
      ergebnis +=
          static_cast<char>(((byte & 0x03) << 6) | (static_cast<unsigned char>(utf8[i]) & 0x3F));
    } else if (byte >= 0xC0) {
      ergebnis += '-';
    }
  }
  constexpr std::size_t HOECHSTENS = 255;  // what one request takes
  return ergebnis.substr(0, HOECHSTENS);
}

}  // namespace

Beschriftung::Beschriftung(xcb_connection_t* verbindung, const xcb_screen_t& schirm)
    : c_(verbindung), schirm_(schirm), schrift_(xcb_generate_id(verbindung)) {
  xcb_open_font(c_, schrift_, 5, "fixed");
}

Beschriftung::~Beschriftung() {
  xcb_close_font(c_, schrift_);
}

void Beschriftung::rastere(const std::string& text) {
  if (text == gerastert_) return;
  gerastert_ = text;
  punkte_.clear();
  const auto breite = static_cast<std::uint16_t>(text.size() * LETTER_BREITE);
  if (breite == 0) return;
  const xcb_pixmap_t blatt = xcb_generate_id(c_);
  xcb_create_pixmap(c_, schirm_.root_depth, blatt, schirm_.root, breite, LETTER_HOEHE);
  const xcb_gcontext_t stift = xcb_generate_id(c_);
  const std::uint32_t werte[] = {0xFFFFFF, 0, schrift_};
  xcb_create_gc(c_, stift, blatt, XCB_GC_FOREGROUND | XCB_GC_BACKGROUND | XCB_GC_FONT, werte);
  xcb_image_text_8(c_, static_cast<std::uint8_t>(text.size()), blatt, stift, 0, GRUNDLINIE,
                   text.c_str());
  xcb_get_image_reply_t* bild = xcb_get_image_reply(
      c_, xcb_get_image(c_, XCB_IMAGE_FORMAT_Z_PIXMAP, blatt, 0, 0, breite, LETTER_HOEHE, 0xFFFFFF),
      nullptr);
  if (bild != nullptr) {
    const std::uint8_t* daten = xcb_get_image_data(bild);
    const int jePunkt = xcb_get_image_data_length(bild) / (breite * LETTER_HOEHE);
    for (int y = 0; y < LETTER_HOEHE; ++y) {
      for (int x = 0; x < breite; ++x) {
        if (daten[(y * breite + x) * jePunkt] != 0) punkte_.push_back({x, y});
      }
    }
    std::free(bild);
  }
  xcb_free_gc(c_, stift);
  xcb_free_pixmap(c_, blatt);
}

std::vector<xcb_rectangle_t> Beschriftung::quadrate(const std::string& text, int breite, int hoehe,
                                                    int seite) {
  const std::string zeile = latin1(text);
  rastere(zeile);
  const int links =
      std::max(0, (breite - static_cast<int>(zeile.size()) * LETTER_BREITE * seite) / 2);
  const int oben = (hoehe - LETTER_HOEHE * seite) / 2;
  std::vector<xcb_rectangle_t> ergebnis;
  for (const Punkt& punkt : punkte_) {
    const int x = links + punkt.x * seite;
    if (x >= breite) continue;
    ergebnis.push_back({static_cast<std::int16_t>(x),
                        static_cast<std::int16_t>(oben + punkt.y * seite),
                        static_cast<std::uint16_t>(seite), static_cast<std::uint16_t>(seite)});
  }
  return ergebnis;
}

}  // namespace hallkorb
