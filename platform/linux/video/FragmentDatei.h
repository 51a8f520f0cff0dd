// The video file: while it is being recorded an MP4 in fragments, readable up to the last one
// however the process ends; at the end an ordinary MP4, in place.
//
// An ordinary MP4 cannot be played until its index is written at the end. In a fragmented one
// (ISO/IEC 14496-12, 8.8) each fragment has its own index. What has gone into a finished fragment
// is safe; sichere() finishes one, which is a single write. But players seek badly in such a file.
//
// So its end gets one index of all samples, and its beginning is changed so that readers see that
// one instead:
//
//   while recording   ftyp  free  moov  moof mdat  moof mdat ...
//   being finished    ftyp  free  moov  moof mdat  moof mdat ...  free( moov )
//   finished          ftyp  mdat(...............................)        moov
//
// The samples stay where they are: the first `free`, 16 bytes long, becomes an `mdat` that reaches
// to the new index. Until the eight bytes of that switch are written, both the room for them and
// the new index are free space to readers, so a process that is killed in between leaves the
// fragments, whole.
//
// A sample's duration is stored in its fragment, but known only when the next picture comes. In a
// still window that may take minutes, during which the video must already have its full length. So
// sichere() puts the last sample into a fragment of its own, where the duration is one field at a
// known place, and verlaengere() rewrites that field.
//
// After a failed write, or if there is no memory, the file ends with its last whole fragment. Want
// of memory is an error like others: nothing here throws.
//
// Times are in ticks (H264Kodierer::TICKS a second), from the first picture. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Dateien.h"
#include "base/Fehler.h"
#include "platform/linux/video/Libav.h"
#include "platform/linux/video/Mp4Verzeichnis.h"

namespace hallkorb {

class FragmentDatei {
 public:
  explicit FragmentDatei(Dateien& dateien = posixDateien()) : dateien_(dateien) {}
  FragmentDatei(const FragmentDatei&) = delete;
  FragmentDatei& operator=(const FragmentDatei&) = delete;
  // Without schliesseAb() what is not safe is lost, and the file stays in fragments.
  ~FragmentDatei();

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
  // Makes it an ordinary file whose last sample lasts until `ende`, and closes it. If that fails it
  // stays in fragments.
  [[nodiscard]] Ergebnis schliesseAb(std::int64_t ende);
  // Finishes the fragment and closes the file as it is.
  [[nodiscard]] Ergebnis schliesse();

 private:
  static int sammle(void* selbst, AvioSchreibBytes* daten, int anzahl);
  template <class Schritt>
  [[nodiscard]] Ergebnis versuche(Schritt schritt);
  [[nodiscard]] Ergebnis legeAn(const std::string& pfad, const AVCodecContext& strom);
  [[nodiscard]] Ergebnis schreibeKopf();
  [[nodiscard]] Ergebnis nimm(AVPacket& paket);
  [[nodiscard]] Ergebnis beendeFragmente();
  [[nodiscard]] Ergebnis gibWeiter(std::int64_t dauer);
  [[nodiscard]] Ergebnis beendeFragment();
  [[nodiscard]] Ergebnis haengeAn(std::span<const std::uint8_t> bytes);
  [[nodiscard]] Ergebnis schreibeAn(std::span<const std::uint8_t> bytes, std::int64_t stelle);
  [[nodiscard]] Ergebnis setzeDauer(std::int64_t bis);
  [[nodiscard]] Ergebnis stelleUm(std::int64_t ende);
  [[nodiscard]] Ergebnis schliesseDatei(Ergebnis bisher);

  Dateien& dateien_;
  int griff_ = -1;
  std::int64_t laenge_ = 0;              // bytes up to the end of the last whole fragment
  bool verloren_ = false;                // a write has failed, or there was no memory for it
  std::vector<std::uint8_t> gesammelt_;  // the muxer's output since the last write
  LibavZeiger<AVIOContext> strom_;
  LibavZeiger<AVFormatContext> datei_;
  LibavZeiger<AVPacket> offen_;  // the last sample until its fragment is finished, then empty
  std::int64_t letzte_ = 0;      // time of the last sample
  // Position of its duration in the file, once its fragment is finished.
  std::optional<std::int64_t> dauerFeld_;

  std::vector<std::uint8_t> kopf_;  // the head's `moov`, the pattern of the index at the end
  std::int64_t schalter_ = 0;       // position of the `free` box before it
  Mp4Verzeichnis verzeichnis_;
};

}  // namespace hallkorb
