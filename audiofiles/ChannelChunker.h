// The channel chunker: cuts one channel's stream into numbered WAV files while it is recorded.
//
// The host transcribes a meeting while it goes on, so it needs finished files early, and cut where
// nobody speaks: a word cut in two is lost to both halves. There are two policies. In turn mode a
// chunk ends in the middle of the first long enough pause after a minimum length; if no pause
// comes, it is cut at the quietest 10 ms near a maximum length. Silent chunks are dropped. In fixed
// mode each chunk has a nominal length and is cut at the quietest 10 ms within 0.8 s of it. With a
// speech mask, both modes also drop chunks that hold too little speech.
//
// Every appended sample is counted once, in a chunk that was written or dropped, so a chunk's times
// are always those of the channel's timeline.
//
// Lengths are samples at `rate` unless a name says otherwise; a frame is always 160 samples, which
// is 10 ms at 16 kHz. Energies and levels are single-precision: four partial sums over every fourth
// sample, added pairwise. They depend on the samples alone, never on how they were cut into blocks.
//
// append and finalizeRemainder may be called from different threads: `lock` is held while a block
// is taken in, a chunk is written and its line goes out. Different chunkers share nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Dateien.h"
#include "base/Ersatzdatei.h"
#include "base/Vorrat.h"

namespace hallkorb {

// How a chunker cuts. No defaults: the compiler reports a field that a caller has left out.
struct ChunkerEinstellung {
  std::string channel;    // part of file names and lines
  std::string outDir;     // folder of the chunk files
  double rate;            // samples per second
  double chunkSeconds;    // fixed mode: nominal length
  bool turnMode;          // cut in pauses; otherwise near the nominal length
  double minSeconds;      // turn mode: length from which a pause may cut
  double maxSeconds;      // turn mode: length at which a cut is forced
  double silenceSeconds;  // turn mode: length of a pause that cuts
  float silenceRms;       // level below which a frame is silent
  // A chunk's name may be that of a file that is read meanwhile.
  Unersetzbar unersetzbar = Unersetzbar::ueberschreiben;
};

class ChannelChunker {
 public:
  // Seconds become samples by truncation; a product that does not fit 64 bits stops the process.
  // Otherwise every value is accepted: a policy that never cuts (a chunk length of -0.8 s or less)
  // leaves everything to the last chunk. `dateien` must outlive the chunker.
  explicit ChannelChunker(ChunkerEinstellung einstellung, Dateien& dateien = posixDateien());
  ChannelChunker(const ChannelChunker&) = delete;
  ChannelChunker& operator=(const ChannelChunker&) = delete;

  // Takes a block in and writes the chunks that it completes.
  //
  // `sprache` marks speech, one entry per sample; a mask of another length is ignored. Once a mask
  // has come, a block without one counts as speech. The mask is consumed from its front in step
  // with the samples: if it starts later than they do, it stays ahead of them.
  void append(std::span<const float> samples, const std::vector<bool>* sprache = nullptr);

  // Cuts the first `count` samples, or all if there are fewer, as one chunk. The caller holds
  // `lock`.
  void flush(std::int64_t count);

  // Cuts what is left as the last chunk.
  void finalizeRemainder();

  [[nodiscard]] const std::string& channel() const { return channel_; }
  [[nodiscard]] const std::string& outDir() const { return outDir_; }
  [[nodiscard]] double rate() const { return rate_; }
  [[nodiscard]] std::int64_t chunkSamples() const { return chunkSamples_; }
  [[nodiscard]] std::int64_t searchSamples() const { return searchSamples_; }
  [[nodiscard]] bool turnMode() const { return turnMode_; }
  [[nodiscard]] std::int64_t minSamples() const { return minSamples_; }
  [[nodiscard]] std::int64_t maxSamples() const { return maxSamples_; }
  [[nodiscard]] std::int64_t silenceRun() const { return silenceRun_; }
  [[nodiscard]] float silenceRms() const { return silenceRms_; }
  [[nodiscard]] std::int64_t minSprache() const { return minSprache_; }

  // State that appending changes: read it with `lock` held, or after the last append. The views
  // hold until the next append or flush.
  [[nodiscard]] std::span<const float> buf() const { return buf_.werte(); }
  // One entry per sample, not 0 for speech.
  [[nodiscard]] std::span<const std::uint8_t> maske() const { return maske_.werte(); }
  [[nodiscard]] bool mitMaske() const { return mitMaske_; }
  // Chunks dropped for too little speech.
  [[nodiscard]] std::int64_t ohneSprache() const { return ohneSprache_; }
  // The number of the next chunk file.
  [[nodiscard]] std::int64_t chunkIndex() const { return chunkIndex_; }
  // Samples cut so far, written and dropped.
  [[nodiscard]] std::int64_t globalOffset() const { return globalOffset_; }

  mutable std::mutex lock;

 private:
  void nimmAuf(std::span<const float> samples, const std::vector<bool>* sprache);
  void schneideNachLaenge();
  void schneideNachPausen();
  [[nodiscard]] std::int64_t erzwungenerSchnitt() const;
  [[nodiscard]] std::optional<std::int64_t> pausenSchnitt();
  [[nodiscard]] std::int64_t leisesteStelle(std::int64_t lo, std::int64_t hi,
                                            std::int64_t sonst) const;
  bool schneide(std::int64_t count);
  std::int64_t nimmSprache(std::int64_t anzahl);
  void schreibe(std::span<const float> chunk, std::int64_t von, std::int64_t sprache);
  [[nodiscard]] std::int64_t laenge() const { return static_cast<std::int64_t>(buf_.size()); }

  std::string channel_;
  std::string outDir_;
  double rate_;
  std::int64_t chunkSamples_;
  std::int64_t searchSamples_;
  bool turnMode_;
  std::int64_t minSamples_;
  std::int64_t maxSamples_;
  std::int64_t silenceRun_;
  float silenceRms_;
  Vorrat<float> buf_;
  Vorrat<std::uint8_t> maske_;
  bool mitMaske_ = false;
  std::int64_t ohneSprache_ = 0;
  std::int64_t minSprache_ = 768;
  std::int64_t chunkIndex_ = 0;
  std::int64_t globalOffset_ = 0;

  // Where the pause search goes on in `buf`: what it has seen does not change until the next cut.
  std::int64_t sucheAb_ = 0;
  std::optional<std::int64_t> pauseAb_;

  Unersetzbar unersetzbar_;
  Dateien& dateien_;
};

}  // namespace hallkorb
