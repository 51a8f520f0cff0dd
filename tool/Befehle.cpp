#include "tool/Befehle.h"

#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"
#include "session/Ereignisse.h"
#include "session/Pruefung.h"
#include "session/Sitzungsordner.h"
#include "tool/Terminal.h"

namespace hallkorb {
namespace {

void drucke(std::string_view zeile) {
  std::printf("%.*s\n", static_cast<int>(zeile.size()), zeile.data());
}

int scheitere(const std::string& grund) {
  std::fprintf(stderr, "hallkorb-sitzung: %s\n", grund.c_str());
  return UNMOEGLICH;
}

Farbe farbeVon(Befundart art) {
  switch (art) {
    case Befundart::hinweis:
      return Farbe::blass;
    case Befundart::fehlt:
    case Befundart::abgeschnitten:
      return Farbe::rot;
    case Befundart::zweifelhaft:
    case Befundart::uebrig:
      return Farbe::gelb;
  }
  return Farbe::ohne;
}

void druckeBefund(const Befund& befund, bool farbig) {
  constexpr std::size_t SPALTE = 14;
  std::string name(befundName(befund.art));
  name.resize(SPALTE, ' ');
  const std::string datei = befund.datei.empty() ? std::string() : befund.datei + ": ";
  drucke(gefaerbt(name, farbeVon(befund.art), farbig) + datei + befund.text);
}

// "3 Chunks von me, 4 von them, mikro_roh.wav, video.mp4"
std::string inhaltVon(const Sitzungsordner& ordner) {
  std::string text =
      formatiert("%zu Chunks von me, %zu von them", ordner.chunksVon(Kanal::me).size(),
                 ordner.chunksVon(Kanal::them).size());
  if (ordner.roh) text += std::string(", ") + ROHDATEI;
  if (ordner.video) text += std::string(", ") + VIDEODATEI;
  return text;
}

int pruefe(const Sitzungsordner& ordner, const std::optional<Ereignisse>& ereignisse) {
  const bool farbig = darfFarbe(STDOUT_FILENO);
  const auto befunde = pruefeSitzung(ordner, ereignisse ? &*ereignisse : nullptr);
  for (const Befund& befund : befunde)
    druckeBefund(befund, farbig);
  const bool auffaellig = istAuffaellig(befunde);
  drucke(gefaerbt(auffaellig ? "auffaellig" : "in Ordnung", auffaellig ? Farbe::rot : Farbe::gruen,
                  farbig) +
         ": " + inhaltVon(ordner));
  return auffaellig ? AUFFAELLIG : ALLES_GUT;
}

}  // namespace

int fuehreAus(const Aufruf& aufruf) {
  const auto ordner = liesSitzungsordner(aufruf.ordner);
  if (!ordner) return scheitere("der Ordner ist nicht lesbar: " + zeigbar(aufruf.ordner));
  const auto ereignisse = liesEreignisse(ordner->zu(EREIGNISSE));
  return pruefe(*ordner, ereignisse);
}

}  // namespace hallkorb
