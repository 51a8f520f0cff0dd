// The channel chunker: cuts one channel's stream into numbered WAV files while it is recorded.
//
// The host transcribes a meeting while it goes on, so it needs finished files early, and cut where
// nobody speaks: a word that is cut in two is lost to both halves. Two policies serve that. In turn
// mode a chunk ends in the middle of the first pause that is long enough, once a shortest length is
// reached, or near a greatest length at the quietest 10 ms when no pause comes; silent chunks are
// dropped. In fixed mode each chunk has a nominal length and is cut at the quietest 10 ms within
// 0.8 s of it. With a speech mask, chunks that hold too little speech are dropped in both modes.
//
// Every sample ever appended is counted once, in a chunk that was written or dropped, so that the
// times of a chunk always are those of the channel's timeline.
//
// Lengths are samples at `rate` unless a name says otherwise; a frame always is 160 samples, which
// is 10 ms at 16 kHz. Energies and levels are single-precision: four partial sums over every fourth
// sample, added pairwise. They depend on the samples alone, never on the blocks these came in.
//
// append and finalizeRemainder may be called from different threads: `lock` is held while a block
// is taken in, while a chunk is written and while its line goes out. Different chunkers share
// nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Dateien.h"

namespace hallkorb {

class ChannelChunker {
 public:
  // `channel` becomes part of file names and lines. The sample counts are rate times seconds, cut
  // toward zero; a product that is no 64-bit number stops the process. Every value is taken:
  // policies that cut nothing (a chunk length of -0.8 s or less) leave everything to the last
  // chunk. `dateien` must outlive the chunker.
  ChannelChunker(std::string channel, std::string outDir, double rate, double chunkSeconds,
                 bool turnMode, double minSeconds, double maxSeconds, double silenceSeconds,
                 float silenceRms, Dateien& dateien = posixDateien());
  ChannelChunker(const ChannelChunker&) = delete;
  ChannelChunker& operator=(const ChannelChunker&) = delete;

  // Takes a block in and writes the chunks that are complete by it.
  //
  // `sprache` marks speech, one entry a sample; a mask of another length is taken as none. A block
  // without a mask counts as speech once a mask has come. The mask is consumed from its front in
  // step with the samples: when it starts later than these, it stays ahead of them.
  void append(std::span<const float> samples, const std::vector<bool>* sprache = nullptr);

  // Cuts the first `count` samples, or all there are, as one chunk; nothing when that is none. The
  // caller holds `lock`.
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

  // What changes while blocks come in: to be read with `lock` held, or when nothing is appended any
  // more. The views hold until the next append or flush.
  [[nodiscard]] std::span<const float> buf() const { return buf_.alle(); }
  // One entry for each sample, other than 0 for speech.
  [[nodiscard]] std::span<const std::uint8_t> maske() const { return maske_.alle(); }
  [[nodiscard]] bool mitMaske() const { return mitMaske_; }
  // Chunks dropped for too little speech.
  [[nodiscard]] std::int64_t ohneSprache() const { return ohneSprache_; }
  // The number of the next chunk file.
  [[nodiscard]] std::int64_t chunkIndex() const { return chunkIndex_; }
  // Samples cut so far, written and dropped.
  [[nodiscard]] std::int64_t globalOffset() const { return globalOffset_; }

  mutable std::mutex lock;

 private:
  // A queue whose content lies together. What is taken off its front is only passed over, and made
  // room of when it is half of the store: every element is moved at most once on average, also when
  // a thousand chunks are cut off one long block.
  template <class T>
  class Vorrat {
   public:
    [[nodiscard]] std::span<const T> alle() const { return std::span(inhalt_).subspan(anfang_); }
    [[nodiscard]] std::size_t size() const { return inhalt_.size() - anfang_; }
    template <class Von, class Bis>
    void anhaengen(Von von, Bis bis) {
      raeumeAuf();
      inhalt_.insert(inhalt_.end(), von, bis);
    }
    void auffuellen(std::size_t anzahl, T wert) {
      raeumeAuf();
      inhalt_.insert(inhalt_.end(), anzahl, wert);
    }
    void abnehmen(std::size_t anzahl) { anfang_ += anzahl; }

   private:
    void raeumeAuf() {
      if (anfang_ < size()) return;
      inhalt_.erase(inhalt_.begin(), inhalt_.begin() + static_cast<std::ptrdiff_t>(anfang_));
      anfang_ = 0;
    }
    std::vector<T> inhalt_;
    std::size_t anfang_ = 0;
  };

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

  // How far the pause search has looked into `buf`; what it saw does not change until the next cut.
  std::int64_t sucheAb_ = 0;
  std::optional<std::int64_t> pauseAb_;

  Dateien& dateien_;
};

}  // namespace hallkorb
