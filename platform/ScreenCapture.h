// The screen's windows: which there are, and the moving picture of one of them.
//
// Pictures stay opaque. A picture of the screen has a form that belongs to its platform (a sample
// buffer of the capture service, an image in shared memory), and copying or converting it on the
// way to the encoder would cost more than everything else here; so it goes to the VideoWriter of
// the same platform as it is, and the recorder only looks at its time and its state.
//
// Contract
// - inventar() may block, for at most 3 seconds; any thread, one at a time.
// - A WindowStream calls its listener from one thread, the stream's own, one call at a time, never
//   from within start() or wechsle(). bild() may take its time: what arrives meanwhile is dropped.
//   A picture that it refuses may be offered anew, as the window is then; a service whose pictures
//   come only if something changes cannot do that.
// - start() and wechsle() block until the capture runs or has failed, at most 3 seconds. A stream
//   that called gestoppt() is finished: only stop() may follow.
// - stop() may come at any time from any thread but the stream's own, also during start() or
//   wechsle(), which then return with an error at once. Nothing is called on the listener after it
//   has returned. It is final and may be repeated.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Fehler.h"

namespace hallkorb {

// One window as the platform describes it. Lengths in points of the screen's space, whose origin is
// at the top left.
struct ScreenWindow {
  struct Anwendung {
    std::string bundle;  // bundle identifier, or what serves as one
    std::string name;    // for people
  };

  std::uint32_t id = 0;
  std::optional<std::string> titel;
  std::optional<Anwendung> anwendung;  // absent if no application owns it
  double x = 0.0;
  double y = 0.0;
  double breite = 0.0;
  double hoehe = 0.0;
  bool sichtbar = false;   // on the screen: not hidden, not minimised, not on another desktop
  std::int64_t ebene = 0;  // 0 for ordinary windows, greater above them, smaller below
};

// A snapshot of all windows, those of the desktop itself left out, those off the screen included.
struct ScreenContent {
  std::vector<ScreenWindow> windows;
};

enum class BildStatus { vollstaendig, unveraendert, leer, angehalten, begonnen, beendet };

// A picture of the recorded window, in whatever form the platform gives it. Valid only during the
// call that hands it over.
class Bild {
 public:
  virtual ~Bild() = default;
  // When the picture was read from the screen, in seconds on the clock of hostSekunden(). It shows
  // the window as it was then, or a moment later.
  [[nodiscard]] virtual double zeit() const = 0;
  // Only vollstaendig comes with a picture.
  [[nodiscard]] virtual BildStatus status() const = 0;
  // The window that it shows.
  [[nodiscard]] virtual std::uint32_t fenster() const = 0;
};

struct StreamKonfiguration {
  int breite = 0;               // pixels that the window is fitted into, its aspect ratio kept
  int hoehe = 0;                // the rest is black
  double kleinsterAbstand = 0;  // seconds between two pictures
  bool mitZeiger = false;       // the pointer is drawn
  int warteschlange = 0;        // pictures that may be under way
};

class WindowStreamListener {
 public:
  // Returns false if there is no room for the picture now, and the window should be offered again.
  [[nodiscard]] virtual bool bild(const Bild& bild) = 0;
  // The recorded window has another title, so it may show something else now. It is also called for
  // each window that the stream goes over to, before its first picture: titles are watched only
  // from then on, and the window was chosen earlier. A platform that is not notified of titles
  // never calls it.
  virtual void titelGeaendert() {}
  // The stream ended by itself: the capture service is gone, or its screen is.
  virtual void gestoppt(const Fehler& fehler) = 0;

 protected:
  ~WindowStreamListener() = default;
};

class WindowStream {
 public:
  virtual ~WindowStream() = default;
  // Begins with the window `id`; a picture of it follows soon, even if nothing moves in it.
  [[nodiscard]] virtual Ergebnis start(std::uint32_t id, WindowStreamListener& listener) = 0;
  // Goes over to another window, or to the same one again.
  [[nodiscard]] virtual Ergebnis wechsle(std::uint32_t id) = 0;
  virtual void stop() = 0;
};

// The error of a stream whose window cannot be recorded at all, since the screen itself is of a
// kind that the platform has no pictures of: trying again does not help.
[[nodiscard]] inline Fehler nichtAufnehmbar(std::string beschreibung) {
  return {"bildschirm", 1, std::move(beschreibung)};
}
[[nodiscard]] inline bool istNichtAufnehmbar(const Fehler& fehler) {
  return fehler.domain == "bildschirm";
}

class ScreenCapture {
 public:
  virtual ~ScreenCapture() = default;
  // Fills `content` with the windows of this moment.
  [[nodiscard]] virtual Ergebnis inventar(ScreenContent& content) = 0;
  [[nodiscard]] virtual std::unique_ptr<WindowStream> stream(
      const StreamKonfiguration& konfiguration) = 0;
};

}  // namespace hallkorb
