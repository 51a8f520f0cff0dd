#include "session/Marken.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Text.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {
namespace {

struct Marke {
  double von = 0.0;
  double bis = 0.0;
  std::string text;
};

// What the picture shows, one after the other, without gaps up to the end.
std::vector<Marke> bilder(const Zeitplan& plan, const Ereignisse* ereignisse) {
  const double ende = plan.sekunden(plan.bis());
  std::vector<Marke> marken{{0.0, ende, "Anfang"}};
  if (ereignisse == nullptr) return marken;
  auto zeilen = ereignisse->bilder;
  std::stable_sort(zeilen.begin(), zeilen.end(),
                   [](const BildZeile& a, const BildZeile& b) { return a.zeit < b.zeit; });
  for (const BildZeile& zeile : zeilen) {
    if (zeile.zeit >= ende) break;
    marken.back().bis = zeile.zeit;
    if (zeile.zeit <= marken.back().von) marken.pop_back();
    marken.push_back({zeile.zeit, ende, zeile.pause ? "Pause" : zeigbar(zeile.quelle)});
  }
  return marken;
}

std::vector<Marke> chunks(const Zeitplan& plan) {
  std::vector<Marke> marken;
  for (const Kanal kanal : {Kanal::me, Kanal::them})
    for (const Stueck& stueck : plan.von(kanal).stuecke)
      marken.push_back({plan.sekunden(stueck.ab), plan.sekunden(stueck.bis()),
                        std::string(kanalName(kanal)) + "\t" + stueck.datei});
  std::stable_sort(marken.begin(), marken.end(),
                   [](const Marke& a, const Marke& b) { return a.von < b.von; });
  return marken;
}

long long inMs(double sekunden) {
  return std::llround(sekunden * 1000.0);
}

// "00:01:02.345"
std::string vttZeit(long long ms) {
  return formatiert("%02lld:%02lld:%02lld.%03lld", ms / 3'600'000, ms / 60'000 % 60, ms / 1000 % 60,
                    ms % 1000);
}

std::string fuerKapitel(std::string_view text) {
  std::string ergebnis;
  for (const char zeichen : text) {
    if (std::string_view("=;#\\").find(zeichen) != std::string_view::npos) ergebnis += '\\';
    ergebnis += zeichen;
  }
  return ergebnis;
}

}  // namespace

std::string audacityMarken(const Zeitplan& plan, const Ereignisse* ereignisse) {
  std::vector<Marke> marken = chunks(plan);
  for (Marke& marke : marken)
    std::replace(marke.text.begin(), marke.text.end(), '\t', ' ');
  if (ereignisse != nullptr) {
    for (Marke& bild : bilder(plan, ereignisse)) {
      bild.text.insert(0, "Bild: ");
      marken.push_back(std::move(bild));
    }
  }
  std::string text;
  for (const Marke& marke : marken)
    text += formatiert("%.6f\t%.6f\t", marke.von, marke.bis) + marke.text + "\n";
  return text;
}

std::string webVtt(const Zeitplan& plan) {
  std::string text = "WEBVTT\n";
  for (const Marke& marke : chunks(plan)) {
    // Both are names of our own making: no character of them means anything in WebVTT.
    const std::size_t tab = marke.text.find('\t');
    const long long von = inMs(marke.von);
    const long long bis = std::max(inMs(marke.bis), von + 1);  // a cue must not be empty
    text += "\n" + vttZeit(von) + " --> " + vttZeit(bis) + "\n<v " + marke.text.substr(0, tab) +
            ">" + marke.text.substr(tab + 1) + "</v>\n";
  }
  return text;
}

std::string kapitel(const Zeitplan& plan, const Ereignisse* ereignisse) {
  std::string text = ";FFMETADATA1\n";
  for (const Marke& marke : bilder(plan, ereignisse)) {
    text += formatiert("[CHAPTER]\nTIMEBASE=1/1000\nSTART=%lld\nEND=%lld\ntitle=", inMs(marke.von),
                       inMs(marke.bis)) +
            fuerKapitel(marke.text) + "\n";
  }
  return text;
}

}  // namespace hallkorb
