// Reads a 16-bit WAV file from its bytes as they come, in pieces of any length.
//
// Only the samples are kept, and they may be taken as they come: a recording of hours needs no more
// memory than a short one.
//
// Not synchronised: one thread at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace hallkorb {

class WavLeser {
 public:
  // `dateiBytes`: the file's length as far as it is known, for the room that the samples need; what
  // the file itself declares may be anything.
  explicit WavLeser(std::uint64_t dateiBytes) : dateiBytes_(dateiBytes) {}

  // The next bytes of the file.
  void nimm(std::span<const std::uint8_t> bytes);

  // What `liesWav` returns, after the last byte. Once.
  [[nodiscard]] std::optional<std::vector<float>> ende();

  // Whether the bytes so far are a file that `liesWav` reads.
  [[nodiscard]] bool lesbar() const;
  // Hz, as the file declares it before its samples; 0 if it does not.
  [[nodiscard]] std::uint32_t rate() const { return rate_; }
  // Whether the file declares what it is read as: 16-bit PCM.
  [[nodiscard]] bool pcm16() const { return pcm16_; }
  // Whether later bytes do not matter.
  [[nodiscard]] bool fertig() const { return stelle_ == Stelle::ENDE && lesbar(); }
  // The samples since the last call of verwirf().
  [[nodiscard]] std::span<const float> samples() const;
  void verwirf();

 private:
  enum class Stelle { VORSPANN, KOPF, DATEN, ENDE };

  void lies(std::span<const std::uint8_t>& bytes);
  void sammle(std::span<const std::uint8_t>& bytes, std::size_t anzahl);
  void behandleKopf();
  void liesDaten(std::span<const std::uint8_t>& bytes);

  std::uint64_t dateiBytes_;
  std::uint64_t gesamt_ = 0;
  Stelle stelle_ = Stelle::VORSPANN;
  std::uint64_t ueberspringen_ = 0;      // bytes up to the next block
  std::array<std::uint8_t, 34> kopf_{};  // a block's head, and of "fmt " what is read of it
  std::size_t kopfBytes_ = 0;            // of them gathered
  std::size_t kanaele_ = 1;
  std::uint32_t rate_ = 0;
  bool pcm16_ = false;
  std::uint64_t daten_ = 0;   // bytes of the data block that are still to come
  std::size_t imFrame_ = 0;   // bytes of a frame that has begun
  std::uint8_t unteres_ = 0;  // low and high byte of its first sample
  std::uint8_t oberes_ = 0;
  std::optional<std::vector<float>> samples_;  // from the data block on
};

}  // namespace hallkorb
