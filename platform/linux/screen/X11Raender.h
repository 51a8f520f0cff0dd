// How wide something is at each side of a window: the frame of a window manager, or a shadow that a
// window draws itself.
//
// Both come from properties that any program may set to anything. What cannot be true counts as
// nothing: a window would otherwise be ranked as the largest of the screen, or be recorded empty.
//
// Pixels. Any thread.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/linux/screen/X11Eigenschaft.h"

namespace hallkorb {

struct X11Raender {
  int links = 0;
  int rechts = 0;
  int oben = 0;
  int unten = 0;
};

// The four numbers of such a property; all 0 if it is absent or no frame can be so wide.
[[nodiscard]] inline X11Raender x11Raender(const X11Eigenschaft& eigenschaft) {
  constexpr std::uint32_t GROESSTER = 1000;
  const auto werte = eigenschaft.zahlen();
  if (werte.size() < 4 || std::any_of(werte.begin(), werte.begin() + 4,
                                      [](std::uint32_t wert) { return wert > GROESSTER; })) {
    return {};
  }
  return {static_cast<int>(werte[0]), static_cast<int>(werte[1]), static_cast<int>(werte[2]),
          static_cast<int>(werte[3])};
}

// A shadow leaves something of its window.
[[nodiscard]] inline X11Raender alsSchatten(const X11Raender& raender, int breite, int hoehe) {
  const bool passt =
      raender.links + raender.rechts < breite && raender.oben + raender.unten < hoehe;
  return passt ? raender : X11Raender();
}

}  // namespace hallkorb
