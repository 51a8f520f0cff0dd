// The index of a whole MP4, collected while its fragments are written.
//
// It is kept in memory and not read from the file at the end: after hours the fragments' own
// indexes lie scattered over gigabytes, and a slow disk would take minutes to find them. A sample
// takes 8 bytes: half a megabyte for an hour of 15 pictures a second.
//
// The muxer's output is checked against what it was given, so a muxer that lays out its fragments
// in a way not understood here yields no index, never a wrong one.
//
// Times are in ticks (H264Kodierer::TICKS a second). One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/video/Mp4Kaesten.h"

namespace hallkorb {

// Where a fragment holds the duration that its samples have in common; nullopt if it does not.
[[nodiscard]] std::optional<std::int64_t> mp4DauerFeld(Mp4Bytes fragment);

class Mp4Verzeichnis {
 public:
  // A sample was handed to the muxer. Times increase.
  void merke(std::int64_t zeit, bool schluesselbild);
  // This fragment, at byte `stelle` of the file, holds all samples that were handed over since the
  // last call.
  void nimmFragment(Mp4Bytes bytes, std::int64_t stelle);
  // The index as a `moov` box, after the one of the file's head, which is without samples. The last
  // sample lasts until `ende`. Empty if the fragments or the pattern were not understood.
  [[nodiscard]] std::vector<std::uint8_t> kasten(Mp4Bytes muster, std::int64_t ende) const;

 private:
  // Samples of a fragment, one after the other in the file.
  struct Block {
    std::int64_t stelle;
    std::uint32_t anzahl;
  };

  [[nodiscard]] bool nimmMoof(Mp4Bytes moof, std::int64_t stelle);
  [[nodiscard]] bool nimmReihe(Mp4Bytes trun, std::uint32_t groesse, std::int64_t stelle);
  [[nodiscard]] bool fuellen(std::size_t block, std::size_t probe, std::uint64_t anfang,
                             std::uint64_t ende) const;
  void schreibeTafeln(std::vector<std::uint8_t>& ziel, std::uint32_t letzteDauer) const;

  std::int64_t letzte_ = 0;                // time of the last sample
  std::vector<std::uint32_t> dauern_;      // of each sample but the last
  std::vector<std::uint32_t> groessen_;    // of each sample in a finished fragment, bytes
  std::vector<std::uint32_t> schluessel_;  // numbers of the key frames, from 1
  std::vector<Block> bloecke_;
  std::uint32_t anzahl_ = 0;  // samples handed over
  bool unverstanden_ = false;
};

}  // namespace hallkorb
