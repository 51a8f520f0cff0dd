// Every way to convert colours, against the formula in floating point.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "platform/linux/video/Farbwandler.h"

namespace hallkorb {
namespace {

struct Rgb {
  double r = 0;
  double g = 0;
  double b = 0;
};

struct Bildpaar {
  Bildpaar(int b, int h, std::uint32_t saat) : breite(b), hoehe(h), quelle(bytes()) {
    std::mt19937 zufall(saat);
    // The extremes are as likely as all other values, since sums overflow there first.
    for (std::uint8_t& wert : quelle) {
      const auto w = static_cast<int>(zufall() % 512);
      wert = static_cast<std::uint8_t>(w < 128 ? 0 : w < 384 ? w - 128 : 255);
    }
  }
  [[nodiscard]] std::size_t bytes() const { return zeile() * static_cast<std::size_t>(hoehe); }
  [[nodiscard]] std::size_t zeile() const { return static_cast<std::size_t>(breite) * 4 + 12; }
  [[nodiscard]] Rgb farbe(int x, int y) const {
    const std::uint8_t* p = quelle.data() +
                            zeile() * static_cast<std::size_t>(std::min(y, hoehe - 1)) +
                            static_cast<std::size_t>(std::min(x, breite - 1)) * 4;
    return {p[2] / 255.0, p[1] / 255.0, p[0] / 255.0};
  }

  int breite;
  int hoehe;
  std::vector<std::uint8_t> quelle;
};

double hell(const Rgb& f) {
  return 0.2126 * f.r + 0.7152 * f.g + 0.0722 * f.b;
}

class FarbwandlerTest : public testing::Test {
 protected:
  // Converts, and compares each value and the bytes around each plane.
  static void pruefe(const Bildpaar& paar, const Farbkern& kern) {
    const int halbe[2] = {(paar.breite + 1) / 2, (paar.hoehe + 1) / 2};
    const int breiten[3] = {paar.breite, halbe[0], halbe[0]};
    const int hoehen[3] = {paar.hoehe, halbe[1], halbe[1]};
    constexpr std::uint8_t RAND = 0xA5;
    std::vector<std::uint8_t> ebenen[3];
    YuvEbenen ziel;
    for (int i = 0; i < 3; ++i) {
      ziel.zeile[i] = breiten[i] + 7;
      ebenen[i].assign(
          static_cast<std::size_t>(ziel.zeile[i]) * static_cast<std::size_t>(hoehen[i] + 1), RAND);
      ziel.daten[i] = ebenen[i].data();
    }
    wandleFarben(BgrBild(0.0, paar.quelle.data(), paar.breite, paar.hoehe, paar.zeile()), ziel,
                 kern);
    int falsch = 0;
    for (int i = 0; i < 3; ++i) {
      for (int y = 0; y <= hoehen[i]; ++y) {
        for (int x = 0; x < breiten[i] + 7; ++x) {
          const int ist = ziel.daten[i][y * ziel.zeile[i] + x];
          const bool innen = x < breiten[i] && y < hoehen[i];
          falsch += innen ? std::abs(ist - soll(paar, i, x, y)) > 0.51 : ist != RAND;
        }
      }
    }
    EXPECT_EQ(falsch, 0) << kern.name << ", " << paar.breite << " x " << paar.hoehe;
  }

 private:
  static double soll(const Bildpaar& paar, int ebene, int x, int y) {
    if (ebene == 0) return 16.0 + 219.0 * hell(paar.farbe(x, y));
    Rgb summe;
    for (const int dy : {0, 1}) {
      for (const int dx : {0, 1}) {
        const Rgb f = paar.farbe(2 * x + dx, 2 * y + dy);
        summe = {summe.r + f.r / 4, summe.g + f.g / 4, summe.b + f.b / 4};
      }
    }
    const double anteil =
        ebene == 1 ? (summe.b - hell(summe)) / 1.8556 : (summe.r - hell(summe)) / 1.5748;
    return 128.0 + 224.0 * anteil;
  }
};

TEST_F(FarbwandlerTest, EveryKernelIsExactToHalfAStep) {
  ASSERT_FALSE(farbkerne().empty());
  for (const Farbkern& kern : farbkerne())
    pruefe({400, 300, 1}, kern);
}

TEST_F(FarbwandlerTest, EverySmallSizeIsFilledAndNothingBesideIt) {
  for (const Farbkern& kern : farbkerne()) {
    for (int breite = 1; breite <= 70; ++breite) {
      for (const int hoehe : {1, 2, 3, 6})
        pruefe({breite, hoehe, static_cast<std::uint32_t>(breite)}, kern);
    }
  }
}

}  // namespace
}  // namespace hallkorb
