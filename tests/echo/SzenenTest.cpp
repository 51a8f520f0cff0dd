// What a listener would say: each long scene, with spoken voices, must reach certain figures. They
// are a little looser than those in docs/echo.md.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "tests/echo/scenes/Bewertung.h"
#include "tests/echo/scenes/Stimmen.h"

namespace hallkorb {
namespace {

using szenen::Bewertung;

// What must be reached; absent if it does not apply to the scene.
struct Schranke {
  std::optional<double> erleAnfang;
  std::optional<double> erleSpaeter;
  std::optional<double> nahPegel;
  std::optional<double> nahSdr;
  std::optional<double> doppelPegel;
  std::optional<double> doppelSdr;
  std::optional<double> falschMarkiert;
  std::optional<double> nichtMarkiert;
  std::optional<double> richtigNach;
};

// Scene, then the fields above: minima for ERLE, level and SDR, maxima for marks and seconds.
// clang-format off
const std::map<std::string, Schranke> SCHRANKEN{
    {"delay 0 ms", {22.0, 28.0, -0.2, 37.5, -2.0, 8.0, 0.03, 0.32, {}}},
    {"delay 40 ms, RT60 0.2 s", {10.5, 38.0, -0.2, 39.0, -1.5, 16.5, 0.04, 0.03, 4.40}},
    {"delay 100 ms", {10.0, 39.0, -0.2, 38.5, -1.5, 16.5, 0.06, 0.03, 4.40}},
    {"delay 250 ms", {9.5, 34.5, -0.2, 35.5, -1.5, 16.5, 0.09, 0.04, 4.40}},
    {"delay 450 ms, RT60 0.5 s", {6.0, 36.0, -0.2, 33.0, -1.5, 15.5, 0.20, 0.03, 4.40}},
    {"delay 700 ms", {6.0, 34.5, -0.3, 28.0, -1.5, 16.5, 0.16, 0.05, 4.40}},
    {"far end only", {9.5, 42.0, {}, {}, {}, {}, 0.04, {}, 4.40}},
    {"near end only", {{}, {}, -0.2, 38.0, {}, {}, {}, 0.01, {}}},
    {"double talk from the start", {-1.0, 44.0, {}, {}, -1.5, 11.0, 0.06, 0.22, 6.50}},
    {"delay jumps to 300 ms at 12 s", {8.5, 41.5, {}, {}, {}, {}, 0.08, {}, 3.20}},
    {"room changes at 12 s", {12.0, 33.5, {}, {}, {}, {}, 0.06, {}, 4.40}},
    {"noise at -50 dB", {10.5, 25.5, -0.2, 24.0, -1.5, 15.0, 0.05, 0.14, 4.40}},
    {"noise at -40 dB", {5.5, 12.0, -0.2, 14.0, -1.5, 11.5, 0.03, 0.55, 4.40}},
    {"loud echo, clipped", {12.5, 23.5, -0.2, 34.0, -4.0, 3.0, 0.09, 0.47, 4.40}},
    {"far end at -40 dB more", {-1.0, -2.0, -0.2, 39.0, -0.5, 36.0, 0.01, 0.02, {}}},
    {"clock drift 20 ppm", {14.0, 23.0, -0.2, 36.5, -2.5, 8.5, 0.02, 0.26, 4.40}},
    {"clock drift 50 ppm", {3.5, 5.0, -0.2, 36.5, -2.0, 6.0, 0.10, 0.17, 4.40}},
    {"clock drift 100 ppm", {1.5, 3.0, -0.2, 37.5, -2.0, 4.5, 0.27, 0.15, 5.40}},
    {"clock drift 20 ppm, on the host's clock", {21.5, 39.0, -0.2, 38.5, -1.5, 16.5, 0.02, 0.04, 4.40}},
    {"clock drift 50 ppm, on the host's clock", {10.0, 40.0, -0.2, 38.5, -1.5, 17.0, 0.07, 0.03, 4.40}},
    {"clock drift 100 ppm, on the host's clock", {10.0, 40.5, -0.2, 38.5, -1.5, 16.5, 0.08, 0.04, 4.40}},
};
// clang-format on

void mindestens(const char* was, const std::optional<double>& wert,
                const std::optional<double>& schranke) {
  ASSERT_EQ(wert.has_value(), schranke.has_value()) << was;
  if (wert) {
    EXPECT_GE(*wert, *schranke) << was;
  }
}

void hoechstens(const char* was, const std::optional<double>& wert,
                const std::optional<double>& schranke) {
  ASSERT_EQ(wert.has_value(), schranke.has_value()) << was;
  if (wert) {
    EXPECT_LE(*wert, *schranke) << was;
  }
}

TEST(Szenen, SoundAsTheyShould) {
  const szenen::Stimmen stimmen = szenen::stimmen();
  for (const auto& vorgabe : szenen::lange()) {
    SCOPED_TRACE(vorgabe.name);
    ASSERT_TRUE(SCHRANKEN.contains(vorgabe.name));
    const Schranke& s = SCHRANKEN.at(vorgabe.name);
    const Bewertung b = szenen::bewerte(szenen::szene(vorgabe, stimmen.fern, stimmen.nah));
    mindestens("ERLE at first", b.erleAnfang, s.erleAnfang);
    mindestens("ERLE later", b.erleSpaeter, s.erleSpaeter);
    mindestens("level in double talk", b.doppelPegel, s.doppelPegel);
    mindestens("SDR in double talk", b.doppelSdr, s.doppelSdr);
    hoechstens("false marks", b.falschMarkiert, s.falschMarkiert);
    hoechstens("speech not marked", b.nichtMarkiert, s.nichtMarkiert);
    hoechstens("delay reported", b.richtigNach, s.richtigNach);
    // A near end that speaks alone passes unchanged.
    mindestens("level of the near end", b.nahPegel, s.nahPegel);
    mindestens("SDR of the near end", b.nahSdr, s.nahSdr);
    if (b.nahPegel) {
      EXPECT_LE(*b.nahPegel, 0.1);
    }
    // Double talk comes out cleaner than it went in.
    if (b.doppelSdr) {
      EXPECT_GE(*b.doppelSdr, *b.doppelSdrVorher - 0.5);
    }
  }
}

}  // namespace
}  // namespace hallkorb
