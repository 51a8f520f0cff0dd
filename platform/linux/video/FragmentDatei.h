// The video file while it is being recorded: an MP4 in fragments, readable up to the last one
// however the process ends.
//
// An ordinary MP4 cannot be played until its index is written at the end. In a fragmented one
// (ISO/IEC 14496-12, 8.8) each fragment has its own index. What has gone into a finished fragment
// is safe; sichere() finishes one.
//
// A sample's duration is stored in its fragment, but known only when the next picture comes. In a
// still window that may take minutes, during which the video must already have its full length. So
// sichere() puts the last sample into a fragment of its own, where the duration is one field at a
// known place, and verlaengere() rewrites that field.
//
// After a failed write the file ends with its last whole fragment.
//
// Times are in ticks (H264Kodierer::TICKS a second), from the first picture. One thread at a time.
#pragma once

#include <cstdint>
#include <optional>
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

  // Creates the file, replacing an earlier one, and writes its head.
  [[nodiscard]] Ergebnis beginne(const std::string& pfad, const AVCodecContext& strom);
  // Takes the next sample; empties `paket`. On disk only after sichere().
  [[nodiscard]] Ergebnis schreibe(AVPacket& paket);
  // Whether samples would be lost if the process ended now.
  [[nodiscard]] bool ungesichert() const { return offen_ && offen_->size > 0; }
  // Finishes the fragment: everything written so far is safe afterwards.
  [[nodiscard]] Ergebnis sichere();
  // Makes the last sample last until `bis`. After sichere(), before the next schreibe().
  [[nodiscard]] Ergebnis verlaengere(std::int64_t bis);
  // Finishes the fragment and closes the file.
  [[nodiscard]] Ergebnis schliesse();

 private:
  static int schreibeBytes(void* selbst, AvioSchreibBytes* daten, int anzahl);
  [[nodiscard]] Ergebnis gibWeiter(std::int64_t dauer);
  [[nodiscard]] Ergebnis beendeFragment();
  [[nodiscard]] Ergebnis geprueft(int code);
  [[nodiscard]] Ergebnis setzeDauer(std::int64_t bis);
  [[nodiscard]] std::optional<std::int64_t> sucheDauerFeld(std::int64_t fragment) const;

  Deskriptor fd_;
  std::int64_t laenge_ = 0;     // bytes in the file
  std::int64_t gesichert_ = 0;  // bytes up to the end of the last whole fragment
  int schreibFehler_ = 0;       // error number of the first write that failed
  LibavZeiger<AVIOContext> strom_;
  LibavZeiger<AVFormatContext> datei_;
  LibavZeiger<AVPacket> offen_;  // the last sample until its fragment is finished, then empty
  std::int64_t letzte_ = 0;      // time of the last sample
  // Position of its duration in the file, once its fragment is finished.
  std::optional<std::int64_t> dauerFeld_;
};

}  // namespace hallkorb
