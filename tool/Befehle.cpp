#include "tool/Befehle.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "base/Dateien.h"
#include "base/Text.h"
#include "session/Bericht.h"
#include "session/Ereignisse.h"
#include "session/FruehereAufnahme.h"
#include "session/Pruefung.h"
#include "session/Reparatur.h"
#include "session/Sitzungsordner.h"
#include "session/Spieldateien.h"
#include "session/Spielplan.h"
#include "session/Zusammenfuegung.h"
#include "tool/Abspieler.h"
#include "tool/Arzt.h"
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

// A file's name in front of a text about it; empty for a text about the recording as a whole.
std::string mitDatei(const std::string& datei) {
  return datei.empty() ? std::string() : datei + ": ";
}

void druckeBefund(const Befund& befund, bool farbig) {
  constexpr std::size_t SPALTE = 14;
  std::string name(befundName(befund.art));
  name.resize(SPALTE, ' ');
  drucke(gefaerbt(name, farbeVon(befund.art), farbig) + mitDatei(befund.datei) + befund.text);
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

int pruefe(const Sitzungsordner& ordner, const Ereignisse* ereignisse) {
  const bool farbig = darfFarbe(STDOUT_FILENO);
  const auto befunde = pruefeSitzung(ordner, ereignisse);
  for (const Befund& befund : befunde)
    druckeBefund(befund, farbig);
  const bool auffaellig = istAuffaellig(befunde);
  drucke(gefaerbt(auffaellig ? "auffaellig" : "in Ordnung", auffaellig ? Farbe::rot : Farbe::gruen,
                  farbig) +
         ": " + inhaltVon(ordner));
  return auffaellig ? AUFFAELLIG : ALLES_GUT;
}

int repariere(const std::string& pfad) {
  const bool farbig = darfFarbe(STDOUT_FILENO);
  std::variant<std::vector<Tat>, Fehler> ergebnis;
  {
    Balken balken("repariere", ::isatty(STDERR_FILENO) != 0);
    ergebnis = repariereSitzung(pfad, [&](double anteil) { balken.zeige(anteil); });
  }
  if (const Fehler* fehler = std::get_if<Fehler>(&ergebnis))
    return scheitere(fehler->description + ": " + zeigbar(pfad));
  const auto& taten = std::get<std::vector<Tat>>(ergebnis);
  bool alles = true;
  for (const Tat& tat : taten) {
    alles = alles && tat.gelungen;
    drucke(gefaerbt(tat.gelungen ? "repariert     " : "unmoeglich    ",
                    tat.gelungen ? Farbe::gruen : Farbe::rot, farbig) +
           tat.datei + ": " + tat.text);
  }
  if (taten.empty()) drucke("nichts zu tun");
  return alles ? ALLES_GUT : AUFFAELLIG;
}

int berichte(const std::string& pfad) {
  const bool farbig = darfFarbe(STDOUT_FILENO);
  std::variant<Bericht, Fehler> ergebnis;
  {
    Balken balken("lese", ::isatty(STDERR_FILENO) != 0);
    ergebnis = schreibeBericht(pfad, [&](double anteil) { balken.zeige(anteil); });
  }
  if (const Fehler* fehler = std::get_if<Fehler>(&ergebnis))
    return scheitere(zeigbar(fehler->description) + ": " + zeigbar(pfad));
  const Bericht& bericht = std::get<Bericht>(ergebnis);
  std::string text = formatiert("%.2f s", bericht.dauer);
  if (bericht.auffaellig > 0) text += formatiert(", %zu Auffaelligkeiten", bericht.auffaellig);
  drucke(gefaerbt("geschrieben   ", Farbe::gruen, farbig) + SEITENDATEI + ": " + text);
  return ALLES_GUT;
}

int fuege(const Aufruf& aufruf) {
  const bool farbig = darfFarbe(STDOUT_FILENO);
  std::variant<std::vector<Ergebnisdatei>, Fehler> ergebnis;
  {
    Balken balken("fuege zusammen", ::isatty(STDERR_FILENO) != 0);
    ergebnis = fuegeZusammen(aufruf.ordner, {aufruf.ziel, aufruf.einzeln, aufruf.ohneVideo},
                             [&](double anteil) { balken.zeige(anteil); });
  }
  if (const Fehler* fehler = std::get_if<Fehler>(&ergebnis))
    return scheitere(zeigbar(fehler->description) + ": " + zeigbar(aufruf.ordner));
  bool alles = true;
  for (const Ergebnisdatei& eine : std::get<std::vector<Ergebnisdatei>>(ergebnis)) {
    alles = alles && eine.gelungen;
    drucke(gefaerbt(eine.gelungen ? "geschrieben   " : "auffaellig    ",
                    eine.gelungen ? Farbe::gruen : Farbe::gelb, farbig) +
           mitDatei(eine.datei) + eine.text);
  }
  return alles ? ALLES_GUT : AUFFAELLIG;
}

// Holds the folder that a playback writes to, as a recording holds its own.
class Belegung {
 public:
  explicit Belegung(const std::string& pfad)
      : griff_(
            beharrlich([&] { return posixDateien().oeffnen(pfad, O_RDONLY | O_DIRECTORY, 0); })) {
    if (griff_ >= 0)
      besetzt_ = beharrlich([&] { return posixDateien().sperren(griff_); }) == -EWOULDBLOCK;
  }
  Belegung(const Belegung&) = delete;
  Belegung& operator=(const Belegung&) = delete;
  ~Belegung() {
    if (griff_ >= 0) schliesse(griff_, posixDateien());
  }
  [[nodiscard]] bool besetzt() const { return besetzt_; }

 private:
  int griff_;
  bool besetzt_ = false;
};

bool derselbeOrdner(const std::string& a, const std::string& b) {
  Dateien::Zustand einer;
  Dateien::Zustand anderer;
  return posixDateien().zustand(a, einer) == 0 && posixDateien().zustand(b, anderer) == 0 &&
         einer.selbeDatei(anderer);
}

int spieleAb(const Aufruf& aufruf, Plattform& plattform) {
  auto ordner = liesSitzungsordner(aufruf.ordner);
  if (!ordner) return scheitere("der Ordner ist nicht lesbar: " + zeigbar(aufruf.ordner));
  const auto ereignisse = liesEreignisse(ordner->zu(EREIGNISSE));
  ordner = ohneFruehere(std::move(*ordner), ereignisse ? &*ereignisse : nullptr);
  auto plan = planeSpiel(*ordner);
  if (!plan) {
    return scheitere(std::string("ohne die Zeilen einer Aufnahme (") + EREIGNISSE +
                     ") gibt es nichts vorzuspielen: " + zeigbar(aufruf.ordner));
  }
  if (derselbeOrdner(aufruf.ordner, aufruf.ziel))
    return scheitere("--out braucht einen anderen Ordner als die Aufnahme");
  if (const Ergebnis ergebnis = erzeugeOrdner(aufruf.ziel); ergebnis.gescheitert())
    return scheitere(zeigbar(ergebnis.fehler().description));
  const Belegung belegung(aufruf.ziel);
  if (belegung.besetzt())
    return scheitere("in den Ordner schreibt schon eine andere Aufnahme: " + zeigbar(aufruf.ziel));
  Spieldateien dateien(std::move(*ordner), aufruf.ziel);
  return Abspieler(std::move(*plan), dateien, plattform, aufruf.tempo).laufe();
}

Farbe farbeVon(Lage lage) {
  switch (lage) {
    case Lage::gut:
      return Farbe::gruen;
    case Lage::hinweis:
      return Farbe::blass;
    case Lage::mangel:
      return Farbe::gelb;
    case Lage::fehlt:
      return Farbe::rot;
  }
  return Farbe::ohne;
}

const char* wortVon(Lage lage) {
  switch (lage) {
    case Lage::gut:
      return "gut           ";
    case Lage::hinweis:
      return "Hinweis       ";
    case Lage::mangel:
      return "Mangel        ";
    case Lage::fehlt:
      return "fehlt         ";
  }
  return "";
}

int untersuche(const Aufruf& aufruf, Plattform& plattform) {
  const bool farbig = darfFarbe(STDOUT_FILENO);
  Pegelbalken balken(::isatty(STDERR_FILENO) != 0);
  const auto drucken = [&](const Diagnose& diagnose) {
    balken.raeume();
    drucke(gefaerbt(wortVon(diagnose.lage), farbeVon(diagnose.lage), farbig) + diagnose.was + ": " +
           zeigbar(diagnose.text));
    if (!diagnose.abhilfe.empty()) drucke("              Abhilfe: " + diagnose.abhilfe);
    std::fflush(stdout);
  };
  Arzt arzt(plattform, {drucken, [&](std::optional<double> mikrofon, std::optional<double> system) {
                          balken.zeige(mikrofon, system);
                        }});
  const bool moeglich = arzt.untersuche(aufruf.ordner.empty() ? "." : aufruf.ordner, aufruf.echo);
  drucke(moeglich ? gefaerbt("eine Aufnahme ist moeglich", Farbe::gruen, farbig)
                  : gefaerbt("so ist keine vollstaendige Aufnahme moeglich", Farbe::rot, farbig));
  return moeglich ? ALLES_GUT : AUFFAELLIG;
}

}  // namespace

bool ausgabeGeschrieben() {
  // A failure is remembered: what was printed before the last line counts, too.
  const bool geschrieben = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (!geschrieben) static_cast<void>(scheitere("die Ausgabe war nicht zu schreiben"));
  return geschrieben;
}

int fuehreAus(const Aufruf& aufruf, const NeuePlattform& neuePlattform) {
  if (aufruf.befehl == Befehl::abspielen) return spieleAb(aufruf, *neuePlattform());
  if (aufruf.befehl == Befehl::arzt) return untersuche(aufruf, *neuePlattform());
  if (aufruf.befehl == Befehl::bericht) return berichte(aufruf.ordner);
  if (aufruf.befehl == Befehl::reparieren) return repariere(aufruf.ordner);
  if (aufruf.befehl == Befehl::zusammen) return fuege(aufruf);
  auto ordner = liesSitzungsordner(aufruf.ordner);
  if (!ordner) return scheitere("der Ordner ist nicht lesbar: " + zeigbar(aufruf.ordner));
  const auto gelesen = liesEreignisse(ordner->zu(EREIGNISSE));
  const Ereignisse* ereignisse = gelesen ? &*gelesen : nullptr;
  return pruefe(ohneFruehere(std::move(*ordner), ereignisse), ereignisse);
}

}  // namespace hallkorb
