// The video file while it is being recorded: an MP4 in fragments, readable up to the last one
// however the process ends.
//
// An ordinary MP4 is worth nothing before its index is written at the end. In a fragmented one
// (ISO/IEC 14496-12, 8.8) each piece brings its own. What has gone into a finished fragment is
// safe; sichere() finishes one.
//
// A sample's duration stands in its fragment, but is known only when the next picture comes, and in
// a still window that may take minutes in which a reader should see a video that goes on. So
// sichere() puts the last sample into a fragment of its own, where its duration is one field at a
// known place, and verlaengere() writes that field anew.
//
// After a failed write the file ends with its last whole fragment.
//
// Times are ticks of H264Kodierer::TAKT, from the first picture. One thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "base/Fehler.h"
#include "platform/linux/Deskriptor.h"
#include "platform/linux/video/Libav.h"

namespace hallkorb {

class FragmentDatei {
 public:
  FragmentDatei() = default;
  FragmentDatei(const FragmentDatei&) = delete;
  FragmentDatei& operator=(const FragmentDatei&) = delete;

  // Makes the file, in place of an earlier one of the name, and writes its head.
  [[nodiscard]] Ergebnis beginne(const std::string& pfad, const AVCodecContext& strom);
  // Takes the next sample; empties `paket`. On disk only after sichere().
  [[nodiscard]] Ergebnis schreibe(AVPacket& paket);
  // Whether there is something that would be lost now.
  [[nodiscard]] bool ungesichert() const { return offen_ && offen_->size > 0; }
  [[nodiscard]] Ergebnis sichere();
  // Lets the last sample last until `bis`. After sichere(), before the next schreibe().
  [[nodiscard]] Ergebnis verlaengere(std::int64_t bis);
  // Closes the file; all that was written is in it.
  [[nodiscard]] Ergebnis schliesse();

 private:
  static int schreibeBytes(void* selbst, AvioSchreibBytes* daten, int anzahl);
  [[nodiscard]] Ergebnis gibWeiter(std::int64_t dauer);
  [[nodiscard]] Ergebnis beendeFragment();
  [[nodiscard]] Ergebnis geprueft(int code);
  [[nodiscard]] Ergebnis setzeDauer(std::int64_t bis);
  void suchDauerFeld(std::int64_t fragment);

  Deskriptor fd_;
  std::int64_t laenge_ = 0;     // bytes in the file
  std::int64_t gesichert_ = 0;  // bytes up to the end of the last whole fragment
  int schreibFehler_ = 0;       // error number of the first write that failed
  LibavZeiger<AVIOContext> strom_;
  LibavZeiger<AVFormatContext> datei_;
  LibavZeiger<AVPacket> offen_;  // the last sample, while its duration is open; else empty
  std::int64_t letzte_ = 0;      // time of the last sample
  // Where its duration stands in the file; -1 when it is not there yet.
  std::int64_t dauerFeld_ = -1;
};

}  // namespace hallkorb
