// Pictures for the video writer, made to be found again in the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/linux/BgrBild.h"

namespace hallkorb {

class Testbild {
 public:
  Testbild(int breite, int hoehe, std::uint32_t farbe)
      : breite_(breite),
        hoehe_(hoehe),
        punkte_(static_cast<std::size_t>(breite) * static_cast<std::size_t>(hoehe), farbe) {}

  void fuelle(int x, int y, int breite, int hoehe, std::uint32_t farbe) {
    for (int zeile = y; zeile < y + hoehe; ++zeile) {
      for (int spalte = x; spalte < x + breite; ++spalte) {
        punkte_[static_cast<std::size_t>(zeile) * static_cast<std::size_t>(breite_) +
                static_cast<std::size_t>(spalte)] = farbe;
      }
    }
  }
  // Fills all of it with noise, which no encoder can make small.
  void rausche(std::uint32_t saat) {
    for (std::uint32_t& punkt : punkte_) {
      saat = saat * 1664525U + 1013904223U;
      punkt = saat >> 8;
    }
  }

  // The picture as of that time; valid while this object lives unchanged.
  [[nodiscard]] BgrBild alsBild(double zeit) const {
    return {zeit, reinterpret_cast<const std::uint8_t*>(punkte_.data()), breite_, hoehe_,
            static_cast<std::size_t>(breite_) * 4};
  }

 private:
  int breite_;
  int hoehe_;
  std::vector<std::uint32_t> punkte_;  // 0xRRGGBB; in memory blue comes first
};

}  // namespace hallkorb
