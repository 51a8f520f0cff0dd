#include "platform/linux/screen/Zeigerbild.h"

#include <algorithm>
#include <cstddef>

namespace hallkorb {

void zeichneZeiger(const Zeigerbild& zeiger, int x, int y, std::uint8_t* bild, int breite,
                   int hoehe) {
  const int links = x - zeiger.spitzeX;
  const int oben = y - zeiger.spitzeY;
  const int vonX = std::max(0, -links);
  const int bisX = std::min(zeiger.breite, breite - links);
  const int bisY = std::min(zeiger.hoehe, hoehe - oben);
  for (int zy = std::max(0, -oben); zy < bisY; ++zy) {
    const std::size_t zeile =
        static_cast<std::size_t>(oben + zy) * static_cast<std::size_t>(breite);
    for (int zx = vonX; zx < bisX; ++zx) {
      const std::uint32_t punkt =
          zeiger.punkte[static_cast<std::size_t>(zy) * static_cast<std::size_t>(zeiger.breite) +
                        static_cast<std::size_t>(zx)];
      const std::uint32_t durchlass = 255 - (punkt >> 24);
      std::uint8_t* ziel = bild + (zeile + static_cast<std::size_t>(links + zx)) * 4;
      for (int farbe = 0; farbe < 3; ++farbe) {
        const std::uint32_t eigene = punkt >> (8 * farbe) & 0xFF;
        const std::uint32_t gemischt = eigene + (ziel[farbe] * durchlass + 127) / 255;
        ziel[farbe] = static_cast<std::uint8_t>(std::min<std::uint32_t>(gemischt, 255));
      }
    }
  }
}

}  // namespace hallkorb
