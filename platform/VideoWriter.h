// One video file being written: pictures in, an MP4 with H.264 out.
//
// Encoding is slow and pictures come at their own pace, so the writer never makes its caller wait:
// it reports whether it is ready, and the caller drops a picture that comes too early. The file can
// be played up to the last seconds whenever the process dies, and is an ordinary, seekable file
// after schliesseAb().
//
// Want of memory is a failure like others: a writer of pictures needs most of it, and the sound may
// have enough.
//
// Times are seconds on the clock of hostSekunden(); the file begins with the picture at `basis`,
// and gaps between pictures show the earlier one.
//
// A window's title may change a moment after its picture, so a writer can hold back the newest
// pictures for `haltezeit` seconds and drop them if the title shows that they belong to something
// else. While that is being looked at, nothing more leaves the hold.
//
// starte(), bereit(), haengeAn(), begrenze() and nimmZurueck() belong to one thread at a time;
// schliesseAb() may come from another one once these have returned for the last time. fehler() any
// thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/Fehler.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

struct VideoEinstellungen {
  int breite = 0;
  int hoehe = 0;
  std::int64_t bitrate = 0;       // bit/s, on average
  int schluesselbildAbstand = 0;  // pictures from one key frame to the next, at most
  double bilderJeSekunde = 0;     // at most
  double haltezeit = 0;           // seconds for which pictures are held back, if a platform can
};

class VideoWriter {
 public:
  virtual ~VideoWriter() = default;
  // Begins the file with the picture at `basis`; an earlier file of the name is replaced. False if
  // that fails; fehler() gives the reason.
  [[nodiscard]] virtual bool starte(double basis) = 0;
  // Whether the file has been begun and nothing has failed since.
  [[nodiscard]] virtual bool schreibt() const = 0;
  // Whether another picture would be taken now.
  [[nodiscard]] virtual bool bereit() const = 0;
  // Takes a picture; times must increase. False if it could not be taken.
  [[nodiscard]] virtual bool haengeAn(const Bild& bild) = 0;
  // What would be held back until after `bis` (host seconds) stays held back; nullopt, as at the
  // beginning: a picture is held back for the usual time only.
  virtual void begrenze(std::optional<double> bis) = 0;
  // Drops the pictures that are held back; returns how many. If the file's first one is among them,
  // the file begins with the next one instead.
  [[nodiscard]] virtual std::int64_t nimmZurueck() = 0;
  // Finishes the file; the last picture lasts until `ende`. Blocks until all of it has been handed
  // to the system, which writes it to the disk in its own time. Returns whether the file is
  // complete.
  [[nodiscard]] virtual bool schliesseAb(double ende) = 0;
  // How many of the pictures it has taken the encoder left out; after schliesseAb().
  [[nodiscard]] virtual std::int64_t ausgelassen() const = 0;
  // What failed; absent if nothing has.
  [[nodiscard]] virtual std::optional<Fehler> fehler() const = 0;
};

class VideoWriterFactory {
 public:
  // A writer for the file `pfad`, which is not touched before starte(); or null with `fehler`
  // filled if the platform has no encoder for these settings.
  [[nodiscard]] virtual std::unique_ptr<VideoWriter> videoWriter(
      const std::string& pfad, const VideoEinstellungen& einstellungen, Fehler& fehler) = 0;

 protected:
  ~VideoWriterFactory() = default;
};

}  // namespace hallkorb
