// The meeting window as a video: one H.264 file beside the audio, whose picture follows the
// meeting.
//
// Two halves make it up. The recorder (WindowVideoCapture.cpp) takes pictures from the stream of
// one window to the writer of one file, and ends in order. The supervision (Bildaufsicht.cpp)
// decides which window that is while the recording runs: it starts patiently, looks at the screen
// every two seconds, follows the meeting when its window changes, pauses when there is none, and
// books how long each source was on the picture. docs/meeting.md has its states.
//
// Video is an extra. Nothing here may stop or delay the audio, and every failure ends in a
// diagnostic line and a missing picture. That includes calls that hang: the screen's server and the
// capture service are other programs, and a stop must not wait for them. So the supervision is
// independent work that shares this object; the stop goes on without it after a while, and a call
// that comes back later finds the recording ended, tells nothing more, and lets go of the object.
//
// A switch of the source only changes what the stream shows. The file's times come from one clock,
// and while no picture comes (a pause) the last one stays.
//
// Threads: starteGeduldig() and stop() from any thread, each once, one after the other; the
// supervision has its own; pictures come on the stream's thread. `zustand_` guards what these
// share, and no call of the platform that may block is made under it. `bildLock_` guards the writer
// and is held while it takes a picture, with the first one also while the file is made: a disk that
// hangs there holds up the stream's thread, and the stop.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/Dateien.h"
#include "meeting/Bildzeiten.h"
#include "meeting/Rangfolge.h"
#include "meeting/Wahl.h"
#include "platform/Plattform.h"

namespace hallkorb {

class WindowVideoCapture final : public std::enable_shared_from_this<WindowVideoCapture>,
                                 private WindowStreamListener {
 public:
  static constexpr int BREITE = 1280;  // pixels of stream and file
  static constexpr int HOEHE = 800;

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
  // is reported, once; the search goes on. After stop() it does nothing.
  void starteGeduldig(double sekunden);

  // Ends everything and finishes the file, which takes as long as the writer needs for that (see
  // Mp4Umbau.h: half a second for an hour's video); up to four seconds more when a call of the
  // screen hangs. Nothing where there is no video; why has been said then. To be called whenever
  // starteGeduldig() was.
  [[nodiscard]] std::optional<Video> stop();

  // What every stream is asked for.
  [[nodiscard]] static StreamKonfiguration konfiguration();
  // What the file is written with.
  [[nodiscard]] static VideoEinstellungen einstellungen();

 private:
  enum class Schritt { nichts, umschalten, pausieren };

  WindowVideoCapture(const std::string& outDir, double zeitNull, Plattform& plattform,
                     Dateien& dateien);

  // The recorder.
  [[nodiscard]] Ergebnis writerAnlegen();
  [[nodiscard]] Ergebnis richteAuf(std::uint32_t fenster);
  void bild(const Bild& bild) override;
  void gestoppt(const Fehler& fehler) override;
  void starteSchreiber(double zeit);
  void meldeAusfall();
  [[nodiscard]] std::string meldeBildquellen();
  [[nodiscard]] std::optional<Video> schliesseAb(std::string quelle);
  [[nodiscard]] bool abgebrochen();

  // The supervision, all on its own thread.
  void beaufsichtige(double sekunden);
  void suche(double sekunden);
  [[nodiscard]] Ergebnis starteAuf(const Wahl& wahl, const ScreenContent& content);
  [[nodiscard]] Ergebnis pruefen();
  [[nodiscard]] Schritt entscheide(const MeetingKandidaten& kandidaten, const Wahl& beste);
  [[nodiscard]] Ergebnis umschalten(const Wahl& auf, const ScreenContent& content);
  void pausieren(const std::string& grund);

  // Booking; `zustand_` is held.
  void buchen();
  void schliesseQuelle();

  const std::string ziel_;  // the file's path
  const double null_;       // host seconds
  Dateien& dateien_;
  Executor& executor_;
  VideoWriterFactory& schreiber_;
  const std::unique_ptr<ScreenCapture> bildschirm_;
  const std::shared_ptr<Schlaf> schlaf_;        // woken by the stop
  const std::shared_ptr<Schlaf> aufsichtEnde_;  // woken when the supervision has ended

  std::mutex bildLock_;
  std::unique_ptr<VideoWriter> writer_;
  std::optional<double> basis_;   // time of the first picture, host seconds
  std::int64_t frames_ = 0;       // pictures in the file
  std::int64_t verworfen_ = 0;    // pictures that came while the writer was not ready
  bool ausfallGemeldet_ = false;  // that the writer does not write has been told

  std::mutex zustand_;
  std::shared_ptr<WindowStream> stream_;
  bool beaufsichtigt_ = false;    // the supervision was started
  bool abgebrochen_ = false;      // the stop has come
  bool streamWeg_ = false;        // the service has ended the stream, or refused a new one
  bool laeuft_ = false;           // a stream runs
  bool pauseGemeldet_ = false;    // a pause was reported and has not ended
  std::optional<Wahl> aktuell_;   // the window being recorded
  std::optional<Wahl> kandidat_;  // another one that was the best at the last check
  std::int64_t wechsel_ = 0;      // starts and switches of the source so far
  Bildzeiten zeiten_;
  double aktuellSeit_;  // from when on the current source is to be booked, host seconds

  bool schreiberAngelegt_ = false;  // the supervision's own
};

}  // namespace hallkorb
