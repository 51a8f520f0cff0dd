// Nothing but the meeting is seen, whatever happens when: seeded scenes with two tabs.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "meeting/WindowVideoCapture.h"
#include "platform/HostClock.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

// Which of two tabs shows the meeting, if any; each time for longer than a slow look and a slow
// switch together.
class Besprechung {
 public:
  // A tab that stops showing it has another page up to 0.4 s before its title says so.
  Besprechung(sim::SimPlattform& welt, std::mt19937_64& zufall, double ende) {
    const auto zwischen = [&](double von, double bis) {
      return std::uniform_real_distribution<double>(von, bis)(zufall);
    };
    sim::Bildschirm& schirm = welt.bildschirm;
    for (const std::uint32_t id : {7U, 8U})
      schirm.windows.push_back(sim::fenster(id, "com.google.Chrome", "Meine Bank"));
    std::uint32_t bisher = 0;
    for (double t = zwischen(0, 2); t < ende; t += zwischen(5, 12)) {
      const auto neue = static_cast<std::uint32_t>(6 + zufall() % 3);  // 6: neither
      if (neue == bisher) continue;
      ab_.emplace_back(t, neue);
      betitle(welt, t, neue, "Meet");
      betitle(welt, t + zwischen(0, 0.4), std::exchange(bisher, neue), "Meine Bank");
    }
  }

  // The tab that shows it at that time; 0 before the first one.
  [[nodiscard]] std::uint32_t fenster(double zeit) const {
    std::uint32_t id = 0;
    for (const auto& [ab, welches] : ab_)
      id = ab <= zeit ? welches : id;
    return id;
  }

 private:
  static void betitle(sim::SimPlattform& welt, double zeit, std::uint32_t id, const char* titel) {
    if (id < 7) return;
    welt.am(zeit, [&schirm = welt.bildschirm, id, titel] {
      schirm.windows.at(id - 7).titel = titel;
      schirm.titelNeu(id);
    });
  }

  std::vector<std::pair<double, std::uint32_t>> ab_;
};

// Calls take long and fail at any moment. Whatever happens, the film shows the meeting alone,
// except for a page that comes right before the stop.
TEST(BildpauseZufallTest, NothingButTheMeetingIsSeen) {
  constexpr double ENDE = 60.0;
  std::size_t bilder = 0;
  std::size_t pausen = 0;
  for (std::uint64_t saat = 1; saat <= 300; ++saat) {
    SCOPED_TRACE(saat);
    std::mt19937_64 zufall(saat);
    const auto zwischen = [&](double von, double bis) {
      return std::uniform_real_distribution<double>(von, bis)(zufall);
    };
    const TempOrdner ordner;
    const AusgabeFaenger faenger;
    sim::SimPlattform welt(saat);
    sim::Bildschirm& schirm = welt.bildschirm;
    setzeHostClock(welt);
    schirm.meldetAnfang = schirm.bietetAn = schirm.schreiberHaelt = true;
    schirm.bildVerzug = 0.02;
    const Besprechung besprechung(welt, zufall, ENDE);
    for (double t = 0; t < ENDE; t += zwischen(0, 6)) {
      welt.am(t, [&schirm, r = zufall()] {
        schirm.inventarDauer = static_cast<double>(r % 4) * 0.4;
        schirm.inventarFrueh = r / 4 % 2 == 0;
        schirm.startDauer = schirm.wechselDauer = static_cast<double>(r / 8 % 4) * 0.4;
        schirm.wechselFehler = std::nullopt;
        if (r / 32 % 6 == 0) schirm.wechselFehler = Fehler{"sim", 7, "Fehler"};
        schirm.schreiberBereit = r / 256 % 5 != 0;
      });
    }
    for (double t = 0; t < ENDE; t += zwischen(0.02, 0.3))
      welt.am(t, [&schirm] { schirm.bild(); });

    const auto video = WindowVideoCapture::baue(ordner.pfad(), sim::NULLZEIT, welt);
    video->starteGeduldig(100);
    const double stopp = zwischen(5, ENDE);
    welt.am(stopp, [] {});
    welt.warteBis([&] { return welt.jetzt() >= stopp; });
    static_cast<void>(video->stop());
    pausen += faenger.ausgabe().find("video_pause") != std::string::npos ? 1U : 0U;
    if (schirm.filme.empty()) continue;
    for (const auto& [zeit, id] : schirm.filme[0].bilder) {
      if (zeit > stopp - 0.5) break;
      EXPECT_EQ(id, besprechung.fenster(zeit)) << zeit;
      ++bilder;
    }
  }
  EXPECT_GT(bilder, 10'000U);
  EXPECT_GT(pausen, 100U);
}

}  // namespace
}  // namespace hallkorb
