// A recording of a simulated window that may stop showing the meeting: the fixture of the tests
// about what must not be seen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "meeting/WindowVideoCapture.h"
#include "tests/support/Bildszene.h"

namespace hallkorb {

using Bilder = std::vector<std::pair<double, std::uint32_t>>;

class BildpauseTest : public Bildszene {
 protected:
  BildpauseTest() { schirm.bildNachStart = false; }

  // Titles are reported, pictures offered again, and the newest ones held back.
  void wieAufX11() {
    schirm.meldetAnfang = true;
    schirm.bietetAn = true;
    schirm.schreiberHaelt = true;
  }

  static ScreenWindow tab(const std::string& titel) {
    return sim::fenster(7, "com.google.Chrome", titel);
  }
  // The window delivers a picture each half second, from a quarter second on.
  void bewegtBis(double ende) {
    for (double t = 0.25; t < ende; t += 0.5)
      welt.am(t, [this] { schirm.bild(); });
  }
  const Bilder& bilder() { return schirm.filme.at(0).bilder; }
  // How many pictures were read between these times.
  std::size_t anzahl(double von, double bis) {
    std::size_t n = 0;
    for (const auto& [zeit, fenster] : bilder())
      n += zeit > von && zeit < bis ? 1U : 0U;
    return n;
  }
  std::size_t ereignisse(const std::string& name) {
    std::size_t n = 0;
    for (const std::string& zeile : faenger.ausgabeZeilen())
      n += zeile.find(name) != std::string::npos ? 1U : 0U;
    return n;
  }
};

}  // namespace hallkorb
