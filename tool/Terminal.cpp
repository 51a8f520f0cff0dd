#include "tool/Terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "base/Text.h"

namespace hallkorb {
namespace {

constexpr int BREITE = 30;

const char* anfang(Farbe farbe) {
  switch (farbe) {
    case Farbe::ohne:
      return "";
    case Farbe::rot:
      return "\033[31m";
    case Farbe::gelb:
      return "\033[33m";
    case Farbe::gruen:
      return "\033[32m";
    case Farbe::blass:
      return "\033[2m";
  }
  return "";
}

}  // namespace

bool darfFarbe(int griff) {
  if (::isatty(griff) == 0) return false;
  const char* ohne = std::getenv("NO_COLOR");
  if (ohne != nullptr && *ohne != '\0') return false;
  const char* art = std::getenv("TERM");
  return art != nullptr && std::string_view(art) != "dumb";
}

std::string gefaerbt(std::string_view text, Farbe farbe, bool an) {
  if (!an || farbe == Farbe::ohne) return std::string(text);
  return std::string(anfang(farbe)).append(text).append("\033[0m");
}

Balken::~Balken() {
  if (an_ && prozent_ >= 0) std::fputs("\r\033[K", stderr);
}

void Balken::zeige(double anteil) {
  const int prozent = static_cast<int>(std::clamp(anteil, 0.0, 1.0) * 100.0);
  if (!an_ || prozent == prozent_) return;
  prozent_ = prozent;
  const auto voll = static_cast<std::size_t>(prozent * BREITE / 100);
  const std::string balken = std::string(voll, '#') + std::string(BREITE - voll, '.');
  std::fprintf(stderr, "\r%s [%s] %3d %%", was_.c_str(), balken.c_str(), prozent);
}

void Pegelbalken::zeige(std::optional<double> mikrofon, std::optional<double> system) {
  if (!an_) return;
  std::fputs(("\r\033[K" + pegelZeile(mikrofon, system)).c_str(), stderr);
  steht_ = true;
}

void Pegelbalken::raeume() {
  if (std::exchange(steht_, false)) std::fputs("\r\033[K", stderr);
}

std::string pegelZeile(std::optional<double> mikrofon, std::optional<double> system) {
  std::string zeile;
  if (mikrofon) zeile += "Mikrofon " + pegelBalken(*mikrofon) + "  ";
  if (system) zeile += "Systemton " + pegelBalken(*system);
  return zeile;
}

std::string pegelBalken(double db) {
  constexpr double LEISESTES = -60.0;
  constexpr std::size_t STRICHE = 16;
  const double anteil = std::clamp((db - LEISESTES) / -LEISESTES, 0.0, 1.0);
  const auto voll = static_cast<std::size_t>(std::lround(anteil * STRICHE));
  return "[" + std::string(voll, '#') + std::string(STRICHE - voll, '.') + "]" +
         formatiert("%4.0f dBFS", db);
}

}  // namespace hallkorb
