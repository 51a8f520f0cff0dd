// The calls into the asset writer that a video file needs, each a single call of the system.
//
// What is called when, and which of several errors counts, is decided in AssetSchreiber; here is
// only what has to run on a Mac. The system raises exceptions for calls that come at the wrong
// time; they arrive as errors of the call and do not show in the writer's status and error.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "base/Fehler.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

// The numbers of AVAssetWriterStatus.
enum class SchreiberStatus : std::int64_t {
  unbekannt = 0,
  schreibt = 1,
  fertig = 2,
  gescheitert = 3,
  verworfen = 4,
};

// A time as CMTime has it: value / timescale seconds.
struct Medienzeit {
  std::int64_t value = 0;
  std::int32_t timescale = 1;
  friend bool operator==(const Medienzeit&, const Medienzeit&) = default;
};

class SchreiberAufrufe {
 public:
  virtual ~SchreiberAufrufe() = default;

  // The writer for an MPEG-4 file, and its input for H.264 in real time. Touches no file.
  [[nodiscard]] virtual Ergebnis baue(const std::string& pfad,
                                      const VideoEinstellungen& einstellungen) = 0;
  // The file is to be written with a fragment every `abstand`.
  [[nodiscard]] virtual Ergebnis setzeFragmente(const Medienzeit& abstand) = 0;
  [[nodiscard]] virtual bool nimmtEingang() = 0;
  [[nodiscard]] virtual Ergebnis fuegeEingangHinzu() = 0;

  // Fails if there is such a file already, or a folder.
  [[nodiscard]] virtual Ergebnis beginneSchreiben() = 0;
  [[nodiscard]] virtual Ergebnis setzeBeginn(const Medienzeit& beginn) = 0;

  [[nodiscard]] virtual SchreiberStatus status() = 0;
  // The writer's own error.
  [[nodiscard]] virtual std::optional<Fehler> fehler() = 0;
  [[nodiscard]] virtual bool bereit() = 0;
  // `probe` is a CMSampleBufferRef.
  [[nodiscard]] virtual Ergebnis haengeAn(const void* probe) = 0;

  [[nodiscard]] virtual Ergebnis markiereFertig() = 0;
  [[nodiscard]] virtual Ergebnis setzeEnde(const Medienzeit& ende) = 0;
  // `fertig` comes on a thread of the system when the file is complete or has failed; never after
  // an error of the call.
  [[nodiscard]] virtual Ergebnis schliesseAb(std::function<void()> fertig) = 0;
};

}  // namespace hallkorb
