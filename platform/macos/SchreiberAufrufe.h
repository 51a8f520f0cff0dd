// The calls into the asset writer that a video file takes, each as small as the system has it.
//
// What is called when is decided in AssetSchreiber; here is only what must be on a Mac. The system
// raises exceptions for calls that come at the wrong time; they arrive as errors.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/Fehler.h"
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

  // The writer for an MPEG-4 file with a fragment every `fragment`, and its input for H.264 in real
  // time. Touches no file.
  [[nodiscard]] virtual Ergebnis baue(const std::string& pfad,
                                      const VideoEinstellungen& einstellungen,
                                      const Medienzeit& fragment) = 0;
  [[nodiscard]] virtual bool nimmtEingang() = 0;
  [[nodiscard]] virtual Ergebnis fuegeEingangHinzu() = 0;

  // Without a file of that name nothing happens.
  virtual void entferneDatei(const std::string& pfad) = 0;
  [[nodiscard]] virtual bool beginneSchreiben() = 0;
  virtual void beginneSitzung(const Medienzeit& beginn) = 0;

  [[nodiscard]] virtual SchreiberStatus status() = 0;
  // The writer's own error.
  [[nodiscard]] virtual Ergebnis fehler() = 0;
  [[nodiscard]] virtual bool bereit() = 0;
  // `probe` is a CMSampleBufferRef.
  [[nodiscard]] virtual bool haengeAn(const void* probe) = 0;

  virtual void markiereFertig() = 0;
  virtual void beendeSitzung(const Medienzeit& ende) = 0;
  // `fertig` comes on a thread of the system when the file is complete or has failed.
  virtual void schliesseAb(std::function<void()> fertig) = 0;
};

}  // namespace hallkorb
