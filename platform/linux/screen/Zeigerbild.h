// Draws the pointer into a picture: it is never in a window's pixels, since the server draws it on
// top.
//
// Pure function, any thread.
#pragma once

#include <cstdint>
#include <vector>

namespace hallkorb {

// The pointer's shape as XFixes gives it: one number per pixel, alpha in the top byte, then red,
// green, blue, each already multiplied by alpha.
struct Zeigerbild {
  int breite = 0;
  int hoehe = 0;
  int spitzeX = 0;  // the pixel that points
  int spitzeY = 0;
  std::vector<std::uint32_t> punkte;
};

// Draws `zeiger` with its tip at (x, y) into rows of `breite` pixels, blue first; what lies outside
// is cut off.
void zeichneZeiger(const Zeigerbild& zeiger, int x, int y, std::uint8_t* bild, int breite,
                   int hoehe);

}  // namespace hallkorb
