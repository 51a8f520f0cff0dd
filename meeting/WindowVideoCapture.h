// The meeting window as a video: one H.264 file beside the audio, whose picture follows the
// meeting.
//
// Four parts make it up. The supervision (Bildaufsicht.h) decides which window is recorded; the
// stream brings its pictures here, and they go into the file (Film.h); what all of them share with
// the stop is in Bildzustand.h. This class is the outside: it starts them, and ends them in order.
//
// Video is an extra. Nothing here may stop or delay the audio, and every failure ends in a
// diagnostic line and a missing picture, want of memory included. So do calls that hang: the
// screen's server and the capture service are other programs, and a stop must not wait for them. So
// the supervision is independent work that shares this object; after a while the stop goes on
// without it, and a call that comes back later finds the recording ended, reports nothing more, and
// lets go of the object.
//
// Threads: starteGeduldig() and stop() from any thread, each once, one after the other; the
// supervision has its own; pictures come on the stream's thread. The locks are those of Film and
// Bildzustand; neither is held while the other is taken, nor during a call into the screen.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Dateien.h"
#include "meeting/Bildaufsicht.h"
#include "meeting/Bildzeiten.h"
#include "meeting/Bildzustand.h"
#include "meeting/Film.h"
#include "meeting/Weckuhr.h"
#include "platform/Befristet.h"
#include "platform/Plattform.h"

namespace hallkorb {

class WindowVideoCapture final : public std::enable_shared_from_this<WindowVideoCapture>,
                                 private WindowStreamListener {
 public:
  // A finished video.
  struct Video {
    std::string pfad;
    std::int64_t frames = 0;
    std::string quelle;  // the source that was on it longest, and how many others there were
  };

  // Records to "video.mp4" in `outDir`; `zeitNull` is the time of the recording's beginning on the
  // clock of hostSekunden(). Nothing is started. `plattform` and `dateien` must live until stop()
  // has returned.
  [[nodiscard]] static std::shared_ptr<WindowVideoCapture> baue(const std::string& outDir,
                                                                double zeitNull,
                                                                Plattform& plattform,
                                                                Dateien& dateien = posixDateien());
  ~WindowVideoCapture() = default;
  WindowVideoCapture(const WindowVideoCapture&) = delete;
  WindowVideoCapture& operator=(const WindowVideoCapture&) = delete;

  // Starts the supervision and returns at once. A meeting window that is missing after `sekunden`
  // is reported, once; the search goes on. If the system has no thread or no memory for the video,
  // that is reported, and there is none. After stop() it does nothing.
  void starteGeduldig(double sekunden);

  // Ends everything and finishes the file, which takes as long as the writer needs for that (on
  // Linux some milliseconds, see FragmentDatei.h), and up to four seconds more if a call into the
  // screen hangs. Returns nullopt if there is no video; the reason was already logged. To be called
  // whenever starteGeduldig() was.
  [[nodiscard]] std::optional<Video> stop();

 private:
  WindowVideoCapture(const std::string& outDir, double zeitNull, Plattform& plattform,
                     Dateien& dateien);

  [[nodiscard]] bool bild(const Bild& bild) override;
  void titelGeaendert() override;
  void gestoppt(const Fehler& fehler) override;
  [[nodiscard]] Ergebnis starteAufsicht(double sekunden);
  void beaufsichtige(double sekunden);
  [[nodiscard]] std::optional<Video> beende();
  [[nodiscard]] bool haltAn(const Bildzustand::Ende& ende);

  Executor& executor_;
  const std::unique_ptr<ScreenCapture> bildschirm_;
  const std::shared_ptr<Schlaf> aufsichtEnde_;     // woken when the supervision has ended
  const std::unique_ptr<Bereitschaft> stromEnde_;  // what stops the stream; null without a thread
  Film film_;
  Bildzustand stand_;
  Weckuhr uhr_;  // by which the supervision sleeps
  Bildaufsicht aufsicht_;
};

}  // namespace hallkorb
