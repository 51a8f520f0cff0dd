// What the supervision, the stream and the stop of the window video share.
//
// Each operation is one step that the others see as a whole. `zustand_` guards every field; it
// is held only within these operations, which call nothing that may block, so a stop never waits
// here. After the stop no operation begins anything.
//
// What is not a meeting must not be recorded. A check that finds no meeting in the window any more
// shuts its pictures out at once, before the pause is reported or another window takes over; after
// a pause only pictures that were read later count.
//
// Times are host seconds. Any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "meeting/Bildzeiten.h"
#include "meeting/Rangfolge.h"
#include "meeting/Wahl.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

class Bildzustand {
 public:
  using Strom = std::shared_ptr<WindowStream>;

  // Why the screen is checked: it is time, or the recorded window has another title.
  enum class Anlass { takt, titel };
  // What a check of the screen has to do. To refresh: the window counts again, and what it showed
  // meanwhile was dropped, so its stream has to give another picture.
  enum class Schritt { nichts, auffrischen, umschalten, pausieren };
  // Which pictures may be recorded.
  struct Einlass {
    std::uint32_t fenster = 0;
    double ab = 0.0;  // read then or later
  };
  struct Stroeme {
    Strom laufend;     // null if a new one is needed
    Strom ausgedient;  // ended by the service, still to be stopped; may be null
  };
  struct Uebergang {
    bool erster = false;  // the first source of the recording
    double zeit = 0.0;
  };
  struct Ende {
    bool lief = false;           // a source was recorded
    bool beaufsichtigt = false;  // the supervision was started
    Strom strom;                 // may be null
  };

  Bildzustand();

  // The supervision starts; false after the stop.
  [[nodiscard]] bool beginneAufsicht();
  [[nodiscard]] bool abgebrochen() const;

  // The streams, when one is to show a window. One that the service has ended is handed out once,
  // and its mark is taken off: the next stream may end at once, too, and that must be seen.
  [[nodiscard]] Stroeme nimmStroeme();
  // Makes a stream known before it starts, so that the stop can cancel the start; false after the
  // stop.
  [[nodiscard]] bool merkeStrom(Strom strom);
  // That stream did not start. There is none now, so the next check starts one whatever its window.
  void stromGescheitert();
  // The service has ended the stream.
  void stromWeg();

  // A window that vanished or a stream that ended is replaced at once; a better window takes over
  // only if it is still the best at the next check, since windows that are opening or being dragged
  // would otherwise make the picture jump. A new title brings no confirmation earlier, and ends no
  // pause: the window needs time to draw what the title says.
  [[nodiscard]] Schritt entscheide(const MeetingKandidaten& kandidaten, const Wahl& beste,
                                   Anlass anlass);
  // Lets the pictures of a window in, before a stream is pointed at it; returns which were let in
  // before, for the case that it fails.
  std::optional<Einlass> lasseEin(std::uint32_t fenster);
  // The window being recorded; 0 if there was none yet.
  [[nodiscard]] std::uint32_t fenster() const;
  // Whether pictures of some window are let in.
  [[nodiscard]] bool nimmtAuf() const;
  void setzeEinlass(const std::optional<Einlass>& einlass);
  [[nodiscard]] bool laesstEin(const Bild& bild) const;
  // The stream shows this choice now; nullopt after the stop.
  [[nodiscard]] std::optional<Uebergang> uebernimm(const Wahl& wahl);
  // A pause begins; returns its time, or nullopt after the stop.
  [[nodiscard]] std::optional<double> pausiere();

  [[nodiscard]] Ende brichAb();
  // Books what is open; returns the sources with their times, longest first.
  [[nodiscard]] std::vector<Bildzeiten::Quellenzeit> schliesseZeiten();

 private:
  // With `zustand_` held.
  [[nodiscard]] Schritt folge(const Wahl& beste, Anlass anlass);
  void buchen();

  mutable std::mutex zustand_;
  Strom stream_;
  bool beaufsichtigt_ = false;  // the supervision was started
  bool abgebrochen_ = false;    // the stop has come
  bool streamWeg_ = false;      // the service has ended the stream, or refused a new one
  bool laeuft_ = false;         // a source is recorded
  bool pauseGemeldet_ = false;  // a pause was reported and has not ended
  std::optional<Einlass> einlass_;
  std::optional<Wahl> aktuell_;   // the window being recorded
  std::optional<Wahl> kandidat_;  // another one that was the best at the last check
  std::int64_t wechsel_ = 0;      // starts and switches of the source so far
  Bildzeiten zeiten_;
  double aktuellSeit_;  // from when on the current source is to be booked, seconds since 1970
};

}  // namespace hallkorb
