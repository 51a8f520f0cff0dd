// The supervision of the window video: which window is recorded, and what the host is told of it.
#include <algorithm>
#include <utility>

#include "base/Ausgabe.h"
#include "meeting/WindowVideoCapture.h"
#include "platform/HostClock.h"

namespace hallkorb {
namespace {

constexpr double SUCH_ABSTAND = 3.0;   // seconds between two attempts to start
constexpr double PRUEF_ABSTAND = 2.0;  // seconds between two checks of the screen

std::string mitText(const Fehler& fehler) {
  return " (" + fehler.description + ")";
}

}  // namespace

void WindowVideoCapture::starteGeduldig(double sekunden) {
  {
    const std::lock_guard halter(zustand_);
    if (abgebrochen_) return;
    beaufsichtigt_ = true;
  }
  executor_.starteUnabhaengig([selbst = shared_from_this(), sekunden]() mutable {
    const std::shared_ptr<Schlaf> ende = selbst->aufsichtEnde_;
    selbst->beaufsichtige(sekunden);
    selbst = nullptr;
    ende->wecke();
  });
}

// After each call of the platform the stop may have given this up: then nothing but this object
// itself is there any more, and nothing else is touched.
void WindowVideoCapture::beaufsichtige(double sekunden) {
  suche(sekunden);
  while (!schlaf_->warte(PRUEF_ABSTAND)) {
    const Ergebnis fehler = pruefen();
    if (abgebrochen()) return;
    if (fehler) log("[hallkorb] Fensterpruefung: " + fehler->description);
    // In a still window no picture comes that would show that the writer has failed. One that is
    // just taking a picture is looked at by the one who brings it.
    const std::unique_lock halter(bildLock_, std::try_to_lock);
    if (halter) meldeAusfall();
  }
}

// Until a capture runs, or the stop comes.
void WindowVideoCapture::suche(double sekunden) {
  const double frist = hostSekunden() + sekunden;
  bool gemeldet = false;
  Ergebnis startFehler;
  std::string letzterInventarFehler;
  while (true) {
    ScreenContent content;
    Wahl wahl{"nichts", 0, "", 0, std::string(KEIN_BILD)};
    const Ergebnis inventarFehler = bildschirm_->inventar(content);
    if (abgebrochen()) return;
    if (inventarFehler) {
      // No screen to ask: it will not be told anew every three seconds.
      if (inventarFehler->description != letzterInventarFehler) {
        letzterInventarFehler = inventarFehler->description;
        log("[hallkorb] Video-Start fehlgeschlagen: " + letzterInventarFehler);
      }
    } else {
      letzterInventarFehler.clear();
      wahl = waehleMeetingZiel(metadaten(content));
    }
    if (wahl.istFenster()) {
      const Ergebnis fehler = starteAuf(wahl, content);
      if (abgebrochen() || !fehler) return;
      log("[hallkorb] Video-Start fehlgeschlagen: " + fehler->description);
      startFehler = fehler;
    }
    if (!gemeldet && hostSekunden() >= frist) {
      gemeldet = true;
      const Ergebnis& fehler = inventarFehler ? inventarFehler : startFehler;
      const std::string text = wahl.grund + (fehler ? mitText(*fehler) : "");
      emit(R"({"event":"video_none","message":")" + jsonEscape(text) + "\"}");
      log("[hallkorb] Bild: " + text + " — suche weiter, Ton laeuft");
    }
    if (schlaf_->warte(SUCH_ABSTAND)) return;
  }
}

Ergebnis WindowVideoCapture::starteAuf(const Wahl& wahl, const ScreenContent& content) {
  const Ergebnis fehler = writerAnlegen();
  return fehler ? fehler : umschalten(wahl, content);
}

Ergebnis WindowVideoCapture::pruefen() {
  ScreenContent content;
  Ergebnis fehler = bildschirm_->inventar(content);
  if (fehler || abgebrochen()) return fehler;
  const MeetingKandidaten kandidaten = meetingKandidaten(metadaten(content));
  const Wahl beste = besteWahl(kandidaten);
  switch (entscheide(kandidaten, beste)) {
    case Schritt::nichts:
      break;
    case Schritt::umschalten:
      return umschalten(beste, content);
    case Schritt::pausieren:
      pausieren(beste.grund);
      break;
  }
  return std::nullopt;
}

// What a check has to do about what it sees. A window that vanished or a stream that ended is
// replaced at once; a better window only when it is still the best at the next check, since windows
// that are opening or being dragged would otherwise make the picture jump.
WindowVideoCapture::Schritt WindowVideoCapture::entscheide(const MeetingKandidaten& kandidaten,
                                                           const Wahl& beste) {
  const std::lock_guard halter(zustand_);
  if (laeuft_ && aktuell_ && !pauseGemeldet_ &&
      std::none_of(kandidaten.liste.begin(), kandidaten.liste.end(),
                   [this](const Wahl& w) { return w.id == aktuell_->id; })) {
    return beste.istFenster() ? Schritt::umschalten : Schritt::pausieren;
  }
  if (!beste.istFenster()) return Schritt::nichts;
  const bool ohneBild = streamWeg_ || pauseGemeldet_;
  if (aktuell_ && beste.gleichesFenster(*aktuell_)) {
    kandidat_.reset();
    if (beste.quelle != aktuell_->quelle) {
      schliesseQuelle();
      aktuell_ = beste;
    }
    return ohneBild ? Schritt::umschalten : Schritt::nichts;
  }
  if (ohneBild || (kandidat_ && beste.gleichesFenster(*kandidat_))) return Schritt::umschalten;
  kandidat_ = beste;
  return Schritt::nichts;
}

Ergebnis WindowVideoCapture::umschalten(const Wahl& auf, const ScreenContent& content) {
  if (std::none_of(content.windows.begin(), content.windows.end(),
                   [&](const ScreenWindow& w) { return w.id == auf.id; })) {
    return Fehler{"hallkorb", 2, "Fenster verschwunden"};
  }
  if (Ergebnis fehler = richteAuf(auf.id)) return fehler;
  std::string ereignis;
  std::string zeit;
  {
    const std::lock_guard halter(zustand_);
    if (abgebrochen_) return std::nullopt;  // the stop has taken over
    schliesseQuelle();
    aktuell_ = auf;
    kandidat_.reset();
    pauseGemeldet_ = false;
    laeuft_ = true;
    ereignis = wechsel_++ == 0 ? "video_start" : "video_wechsel";
    zeit = formatiert("%.1f", hostSekunden() - null_);
  }
  emit(R"({"event":")" + ereignis + R"(","quelle":")" + jsonEscape(auf.quelle) + R"(","art":")" +
       auf.art + R"(","rang":)" + std::to_string(auf.rang) + R"(,"grund":")" +
       jsonEscape(auf.grund) + R"(","t_s":)" + zeit + "}");
  log("[hallkorb] Bild: " + auf.quelle + " (" + auf.grund + ") ab " + zeit + " s");
  return std::nullopt;
}

// The stream stays: without new pictures the video shows the last one until the meeting is back.
void WindowVideoCapture::pausieren(const std::string& grund) {
  std::string zeit;
  {
    const std::lock_guard halter(zustand_);
    if (abgebrochen_) return;
    pauseGemeldet_ = true;
    buchen();
    zeit = formatiert("%.1f", hostSekunden() - null_);
  }
  emit(R"({"event":"video_pause","message":")" + jsonEscape(grund) + R"(","t_s":)" + zeit + "}");
  log("[hallkorb] Bild: " + grund + " ab " + zeit + " s — Ton laeuft weiter");
}

// The time of the current source ends here; the time of a pause belongs to none.
void WindowVideoCapture::schliesseQuelle() {
  if (pauseGemeldet_) {
    aktuellSeit_ = hostSekunden();
  } else {
    buchen();
  }
}

void WindowVideoCapture::buchen() {
  const double jetzt = hostSekunden();
  if (aktuell_) zeiten_.buche(aktuell_->quelle, jetzt - aktuellSeit_);
  aktuellSeit_ = jetzt;
}

}  // namespace hallkorb
