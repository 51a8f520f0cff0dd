// The supervision of the window video: which window is recorded, and what the host reads about it.
//
// It starts patiently, looks at the screen every two seconds, and at once if the recorded window
// has another title; it follows the meeting when its window changes, and pauses when there is none.
// docs/meeting.md has its states.
//
// Between the look that finds a window and the stream that shows it, the window may stop being a
// meeting. A platform that watches titles reports the stream's window as changed when it begins
// with it, so it is looked at once more before its pictures count.
//
// Calls into the screen may hang, and the stop then goes on without the supervision. So each of
// them is followed by a look at the stop: once it has come, the platform may be gone, and nothing
// but the objects given to the constructor may be touched.
//
// A look that gets no memory has failed like one that the screen refuses, and comes again.
//
// One thread.
#pragma once

#include <optional>
#include <string>

#include "meeting/Bildzustand.h"
#include "meeting/Film.h"
#include "meeting/Rangfolge.h"
#include "meeting/Wahl.h"
#include "meeting/Weckuhr.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

class Bildaufsicht {
 public:
  // Streams deliver to `empfaenger`; `uhr` is woken by a new title and ended by the stop;
  // `zeitNull` is the recording's beginning in host seconds.
  Bildaufsicht(ScreenCapture& bildschirm, Film& film, Bildzustand& stand,
               WindowStreamListener& empfaenger, Weckuhr& uhr, double zeitNull);

  // The settings of every stream.
  [[nodiscard]] static StreamKonfiguration konfiguration();

  // Returns after the stop. A meeting window that is missing after `sekunden` is reported once.
  void laufe(double sekunden);

 private:
  [[nodiscard]] Ergebnis blicke(ScreenContent& content, MeetingKandidaten& kandidaten);
  void suche(double sekunden);
  [[nodiscard]] std::optional<std::string> versucheStart();
  void meldeStartfehler(const Fehler& fehler);
  void meldeEinmal(const Fehler& fehler);
  [[nodiscard]] Ergebnis starteAuf(const Wahl& wahl, const ScreenContent& content);
  [[nodiscard]] std::optional<Bildzustand::Anlass> naechsterAnlass();
  [[nodiscard]] Ergebnis pruefen(Bildzustand::Anlass anlass);
  [[nodiscard]] Ergebnis umschalten(const Wahl& auf, const ScreenContent& content);
  [[nodiscard]] Ergebnis richteAuf(std::uint32_t fenster);
  void pausieren(const std::string& grund);
  [[nodiscard]] std::string t_s(double zeit) const;

  ScreenCapture& bildschirm_;
  Film& film_;
  Bildzustand& stand_;
  WindowStreamListener& empfaenger_;
  Weckuhr& uhr_;
  const double null_;

  double naechstePruefung_ = 0.0;  // host seconds
  double letztePruefung_ = 0.0;
  bool namenlos_ = false;              // no window of the last search had an application
  std::optional<Fehler> startFehler_;  // why the last start failed
  std::optional<Fehler> gemeldet_;     // what is reported only once
  Ergebnis pruefErgebnis_;             // of the last check
};

}  // namespace hallkorb
