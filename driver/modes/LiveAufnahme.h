// The live recording, from start to orderly stop.
//
// It fixes the run's time zero, builds a timeline and a chunker for each channel, the echo path and
// the continuous file of the raw microphone, starts the captures, reports to the host what runs,
// and at the end shuts everything down in one fixed order, so that what was said up to the signal
// is in the files when "done" is printed.
//
// Two rules shaped it: a capture that fails must not end the recording, and slow work must not hold
// up a capture.
// - The system's blocks go to the serial queue "chunks.them", where the chunker "them" lives, and
//   as the reference to the serial queue "echo".
// - The microphone's blocks go to the queue "echo": raw file, echo path, chunker "me". Without an
//   echo path they end on the capture's own thread.
// - The video of the meeting window supervises itself; only the stop waits for it.
// - Start and stop are tasks of their own; the main thread only waits for signals, so it can begin
//   a stop while the start still waits for a device.
//
// One object is one recording. laufe() belongs to the main thread; everything else is called back.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "audiofiles/Rohspur.h"
#include "base/Dateien.h"
#include "base/Ordnerwacht.h"
#include "capture/AudioCapture.h"
#include "capture/MicCapture.h"
#include "capture/SystemAudioCapture.h"
#include "capture/Zeitachse.h"
#include "driver/Config.h"
#include "echo/EchoStrecke.h"
#include "meeting/WindowVideoCapture.h"
#include "platform/Plattform.h"

namespace hallkorb {

class LiveAufnahme {
 public:
  // `plattform` and `dateien` must outlive this object. The platform's clock becomes the clock of
  // hostSekunden(). Numbers of the configuration that no buffer can have stop the process.
  LiveAufnahme(const Config& config, Plattform& plattform, Dateien& dateien = posixDateien());
  ~LiveAufnahme();
  LiveAufnahme(const LiveAufnahme&) = delete;
  LiveAufnahme& operator=(const LiveAufnahme&) = delete;

  // Records until SIGINT, SIGTERM or SIGHUP, or until nobody reads standard output any more.
  // Returns the process's exit status: 0 after "done", 2 when neither channel could be started, or
  // nothing was begun because another recording is writing into the folder.
  [[nodiscard]] int laufe();

 private:
  // How the start of a capture went.
  struct Startversuch {
    Ergebnis ergebnis;
    bool fehlt = false;  // it failed by itself: no stop had begun that cancels starts
  };

  [[nodiscard]] bool baueFaeden();
  [[nodiscard]] bool belegeOrdner();
  [[nodiscard]] int lehneAb(const std::string& grund);
  void baueAuf();
  void richteSignaleEin();
  void starte();
  [[nodiscard]] Startversuch versuche(AudioCapture& capture);
  void meldeStart(const Startversuch& mikrofon, const Startversuch& systemAudio);
  void meldeNichts(const Fehler& mikrofon, const Fehler& systemAudio);
  void shutdown();
  void stoppe();

  // Marks the end of the run; false if it was marked before.
  [[nodiscard]] bool beginneEnde();

  void nimmSystemAudio(std::vector<float> samples);
  void nimmMikrofon(std::vector<float> samples);

  const Config config_;
  Plattform& plattform_;
  Ordnerwacht dateien_;  // all files of the recording

  int ordner_ = -1;  // the output folder, locked while this object lives; negative without a lock

  double zeitNull_ = 0.0;        // host seconds of sample 0 of both timelines
  std::int64_t nullUnixMs_ = 0;  // the same moment on the wall clock

  std::unique_ptr<ChannelChunker> themChunker_;
  std::unique_ptr<ChannelChunker> meChunker_;
  std::unique_ptr<Zeitachse> zeitThem_;
  std::unique_ptr<Zeitachse> zeitMe_;
  std::unique_ptr<EchoStrecke> strecke_;  // only at 16000 Hz, and only if wanted
  std::optional<Rohspur> rohWav_;         // if wanted
  // Declared after everything their work uses, so that they end before it.
  std::unique_ptr<SerialQueue> themQueue_;
  std::unique_ptr<SerialQueue> echoQueue_;
  std::unique_ptr<SystemAudioCapture> sysCap_;
  std::unique_ptr<MicCapture> micCap_;
  std::shared_ptr<WindowVideoCapture> vidCap_;  // if a video is wanted

  std::atomic<bool> stopLaeuft_{false};
  std::atomic<bool> nichtsDa_{false};  // neither channel could be started, and that was reported
  // The threads of start and stop. Both exist before the recording begins: a stop must not fail for
  // want of a thread. Declared last, so that they end before anything that they use is destroyed.
  std::unique_ptr<SerialQueue> startTask_;
  std::unique_ptr<SerialQueue> stopTask_;
};

}  // namespace hallkorb
