#include "meeting/Bildaufsicht.h"

#include <algorithm>

#include "base/Ausgabe.h"
#include "base/Faden.h"
#include "base/Speichermangel.h"
#include "base/Text.h"
#include "platform/HostClock.h"

namespace hallkorb {
namespace {

constexpr double SUCH_ABSTAND = 3.0;   // seconds between two attempts to start
constexpr double PRUEF_ABSTAND = 2.0;  // seconds between two checks of the screen
constexpr double TITEL_ABSTAND = 0.2;  // the same for titles, which some pages change all the time

// Logged once: the computer will lack it at every attempt.
bool dauerhaft(const Fehler& fehler) {
  return fehler == keinFaden() || istNichtAufnehmbar(fehler);
}

bool ohneNamen(const ScreenContent& content) {
  return !content.windows.empty() &&
         std::none_of(content.windows.begin(), content.windows.end(),
                      [](const ScreenWindow& w) { return w.anwendung.has_value(); });
}

std::string inKlammern(const Fehler& fehler) {
  return " (" + fehler.description + ")";
}

}  // namespace

Bildaufsicht::Bildaufsicht(ScreenCapture& bildschirm, Film& film, Bildzustand& stand,
                           WindowStreamListener& empfaenger, Weckuhr& uhr, double zeitNull)
    : bildschirm_(bildschirm),
      film_(film),
      stand_(stand),
      empfaenger_(empfaenger),
      uhr_(uhr),
      null_(zeitNull) {}

StreamKonfiguration Bildaufsicht::konfiguration() {
  return {.breite = Film::BREITE,
          .hoehe = Film::HOEHE,
          .kleinsterAbstand = 1.0 / 15,
          .mitZeiger = true,
          .warteschlange = 5};
}

void Bildaufsicht::laufe(double sekunden) {
  suche(sekunden);
  // A look at the screen that hung may have been left behind, and the platform's clock is gone.
  if (stand_.abgebrochen()) return;
  naechstePruefung_ = hostSekunden() + PRUEF_ABSTAND;
  while (const auto anlass = naechsterAnlass()) {
    const Ergebnis ergebnis = pruefen(*anlass);
    if (stand_.abgebrochen()) return;
    if (ergebnis.gescheitert() && !(dauerhaft(ergebnis.fehler()) && ergebnis == pruefErgebnis_)) {
      logFallsMoeglich("[hallkorb] Fensterpruefung: ", ergebnis.fehler().description);
    }
    pruefErgebnis_ = ergebnis;
    film_.pruefe();
    letztePruefung_ = hostSekunden();
    if (*anlass == Bildzustand::Anlass::takt) naechstePruefung_ = letztePruefung_ + PRUEF_ABSTAND;
  }
}

// Sleeps until there is something to check; nullopt after the stop.
std::optional<Bildzustand::Anlass> Bildaufsicht::naechsterAnlass() {
  const Weckuhr::Grund grund = uhr_.warte(naechstePruefung_ - hostSekunden());
  if (grund == Weckuhr::Grund::ende) return std::nullopt;
  if (grund == Weckuhr::Grund::zeit) return Bildzustand::Anlass::takt;
  const double ab = std::min(letztePruefung_ + TITEL_ABSTAND, naechstePruefung_);
  const double rest = ab - hostSekunden();
  if (rest > 0.0 && uhr_.ruhe(rest)) return std::nullopt;
  return hostSekunden() < naechstePruefung_ ? Bildzustand::Anlass::titel
                                            : Bildzustand::Anlass::takt;
}

Ergebnis Bildaufsicht::blicke(ScreenContent& content, MeetingKandidaten& kandidaten) {
  return fangeMangel([&] {
    Ergebnis ergebnis = bildschirm_.inventar(content);
    if (ergebnis.gelungen()) kandidaten = meetingKandidaten(metadaten(content));
    return ergebnis;
  });
}

// Until a stream runs, or the stop comes.
void Bildaufsicht::suche(double sekunden) {
  const double frist = hostSekunden() + sekunden;
  bool gemeldet = false;
  do {
    const auto keinBild = versucheStart();
    if (!keinBild || stand_.abgebrochen()) return;
    if (!gemeldet && hostSekunden() >= frist) {
      gemeldet = true;
      emit(R"({"event":"video_none","message":")" + jsonEscape(*keinBild) + "\"}");
      log("[hallkorb] Bild: " + *keinBild + " — suche weiter, Ton laeuft");
      if (namenlos_) {
        log("[hallkorb] Bild: kein Fenster nennt seine Anwendung — ein Meeting ist so nicht zu "
            "erkennen");
      }
    }
  } while (!uhr_.ruhe(SUCH_ABSTAND));
}

// Returns why there is no picture; nullopt once there is one, or after the stop.
std::optional<std::string> Bildaufsicht::versucheStart() {
  ScreenContent content;
  MeetingKandidaten kandidaten;
  const Ergebnis blick = blicke(content, kandidaten);
  if (stand_.abgebrochen()) return std::nullopt;
  if (blick.gescheitert()) {
    meldeEinmal(blick.fehler());
    return std::string(KEIN_BILD) + inKlammern(blick.fehler());
  }
  namenlos_ = ohneNamen(content);
  const Wahl wahl = besteWahl(kandidaten);
  if (wahl.istFenster()) {
    const Ergebnis ergebnis = starteAuf(wahl, content);
    if (ergebnis.gelungen() || stand_.abgebrochen()) return std::nullopt;
    if (film_.hatWriter() && !dauerhaft(ergebnis.fehler())) {
      meldeStartfehler(ergebnis.fehler());
    } else {
      meldeEinmal(ergebnis.fehler());
    }
    startFehler_ = ergebnis.fehler();
  }
  return wahl.grund + (startFehler_ ? inKlammern(*startFehler_) : "");
}

void Bildaufsicht::meldeStartfehler(const Fehler& fehler) {
  logFallsMoeglich("[hallkorb] Video-Start fehlgeschlagen: ", fehler.description);
}

// What this computer lacks (a screen or one of a usual kind, an encoder, a thread) would be
// reported every three seconds.
void Bildaufsicht::meldeEinmal(const Fehler& fehler) {
  if (gemeldet_ != fehler) meldeStartfehler(fehler);
  gemeldet_ = fehler;
}

Ergebnis Bildaufsicht::starteAuf(const Wahl& wahl, const ScreenContent& content) {
  const Ergebnis ergebnis = film_.writerAnlegen();
  return ergebnis.gescheitert() ? ergebnis : umschalten(wahl, content);
}

Ergebnis Bildaufsicht::pruefen(Bildzustand::Anlass anlass) {
  ScreenContent content;
  MeetingKandidaten kandidaten;
  film_.beginneBlick();
  Ergebnis ergebnis = blicke(content, kandidaten);
  if (ergebnis.gescheitert() || stand_.abgebrochen()) return ergebnis;
  const Wahl beste = besteWahl(kandidaten);
  const Bildzustand::Schritt schritt = stand_.entscheide(kandidaten, beste, anlass);
  // A browser may have drawn another page before it changed the title, and in a pause the last
  // picture stays to be seen.
  if (!stand_.nimmtAuf()) film_.nimmZurueck();
  film_.klaere();
  switch (schritt) {
    case Bildzustand::Schritt::nichts:
      break;
    case Bildzustand::Schritt::auffrischen:
      return richteAuf(stand_.fenster());
    case Bildzustand::Schritt::umschalten:
      return umschalten(beste, content);
    case Bildzustand::Schritt::pausieren:
      pausieren(beste.grund);
      break;
  }
  return {};
}

Ergebnis Bildaufsicht::umschalten(const Wahl& auf, const ScreenContent& content) {
  if (std::none_of(content.windows.begin(), content.windows.end(),
                   [&](const ScreenWindow& w) { return w.id == auf.id; })) {
    return Fehler::eigener(Fehlercode::fensterWeg, "Fenster verschwunden");
  }
  const auto bisher = stand_.lasseEin(auf.id);
  if (Ergebnis ergebnis = richteAuf(auf.id); ergebnis.gescheitert()) {
    stand_.setzeEinlass(bisher);
    return ergebnis;
  }
  const auto uebergang = stand_.uebernimm(auf);
  if (!uebergang) return {};
  const std::string ereignis = uebergang->erster ? "video_start" : "video_wechsel";
  const std::string zeit = t_s(uebergang->zeit);
  emit(R"({"event":")" + ereignis + R"(","quelle":")" + jsonEscape(auf.quelle) + R"(","art":")" +
       auf.art + R"(","rang":)" + std::to_string(auf.rang) + R"(,"grund":")" +
       jsonEscape(auf.grund) + R"(","t_s":)" + zeit + "}");
  log("[hallkorb] Bild: " + auf.quelle + " (" + auf.grund + ") ab " + zeit + " s");
  return {};
}

// Lets the stream show the window: the running one if there is one, otherwise a new one.
Ergebnis Bildaufsicht::richteAuf(std::uint32_t fenster) {
  const auto [laufend, ausgedient] = stand_.nimmStroeme();
  if (ausgedient) ausgedient->stop();
  if (laufend) return laufend->wechsle(fenster);

  const Bildzustand::Strom neuer = bildschirm_.stream(konfiguration());
  if (!stand_.merkeStrom(neuer)) return {};
  Ergebnis ergebnis = neuer->start(fenster, empfaenger_);
  if (ergebnis.gescheitert()) {
    neuer->stop();
    stand_.stromGescheitert();
  }
  return ergebnis;
}

// The stream stays, but its pictures do not count: the video shows the last one until the meeting
// is back.
void Bildaufsicht::pausieren(const std::string& grund) {
  const auto beginn = stand_.pausiere();
  if (!beginn) return;
  const std::string zeit = t_s(*beginn);
  emit(R"({"event":"video_pause","message":")" + jsonEscape(grund) + R"(","t_s":)" + zeit + "}");
  log("[hallkorb] Bild: " + grund + " ab " + zeit + " s — Ton laeuft weiter");
}

std::string Bildaufsicht::t_s(double zeit) const {
  return formatiert("%.1f", zeit - null_);
}

}  // namespace hallkorb
