// A recording of the simulated screen: the fixture of the window video's tests.
//
// Each test runs with several seeds, that is with different orders of the threads that are ready at
// the same time; what it expects holds for all of them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "meeting/WindowVideoCapture.h"
#include "platform/HostClock.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {

class Bildszene : public testing::TestWithParam<std::uint64_t> {
 protected:
  Bildszene() : welt(GetParam()), schirm(welt.bildschirm) {
    setzeHostClock(welt);
    video = WindowVideoCapture::baue(ordner.pfad(), sim::NULLZEIT, welt);
  }

  static ScreenWindow zoom(std::uint32_t id, const std::string& titel = "Zoom Meeting") {
    return sim::fenster(id, "us.zoom.xos", titel);
  }
  // Goes before zoom() because it is larger.
  static ScreenWindow teams(std::uint32_t id, const std::string& titel = "Besprechung") {
    ScreenWindow w = sim::fenster(id, "com.microsoft.teams2", titel);
    w.breite = 1600;
    return w;
  }

  // The screen shows these windows from `zeit` on.
  void zeige(double zeit, std::vector<ScreenWindow> windows) {
    welt.am(zeit, [this, w = std::move(windows)] { schirm.windows = w; });
  }

  void bis(double zeit) {
    welt.am(zeit, [] {});
    welt.warteBis([&] { return welt.jetzt() >= zeit; });
  }

  // Stops at `zeit`; `stopDauer` is how long that took.
  std::optional<WindowVideoCapture::Video> stoppe(double zeit) {
    bis(zeit);
    const auto ergebnis = video->stop();
    stopDauer = welt.jetzt() - zeit;
    return ergebnis;
  }

  TempOrdner ordner;
  AusgabeFaenger faenger;
  sim::SimPlattform welt;
  sim::Bildschirm& schirm;
  std::shared_ptr<WindowVideoCapture> video;
  double stopDauer = 0.0;
};

using Zeilen = std::vector<std::string>;

}  // namespace hallkorb
