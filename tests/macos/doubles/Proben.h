// Sample buffers as a test wants them: sound in any layout, pictures, times that are no numbers.
//
// Plain C++; a buffer is a CMSampleBufferRef, with one reference of whoever made it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace hallkorb::ersatz {

enum class Zeitart { zahl, ungueltig, unbestimmt, unendlich };

struct Ton {
  std::vector<std::vector<float>> kanaele;
  double rate = 48000;
  bool verschraenkt = false;
  bool mitFormat = true;                        // there is a format description
  bool mitStrom = true;                         // and it describes a stream
  std::optional<std::uint32_t> kanalzahl = {};  // as described, if not that of `kanaele`
  std::optional<std::uint32_t> kennung = {};    // of the format; linear PCM without
  std::uint32_t bits = 32;                      // of a sample, as described
  std::optional<long> frames = {};              // as stated, if not those of `kanaele`
  std::int32_t kopierstatus = 0;                // of copying the data out
};

struct Schnappschuss {
  bool mitAnhang = true;
  std::optional<long> status = 0;  // nullopt: the attachment has none
};

struct Zeitpunkt {
  double sekunden = 0.0;
  Zeitart art = Zeitart::zahl;
};

using Probe = std::unique_ptr<const void, void (*)(const void*)>;

[[nodiscard]] Probe tonprobe(const Ton& ton, const Zeitpunkt& wann = {});
[[nodiscard]] Probe bildprobe(const Schnappschuss& bild, const Zeitpunkt& wann,
                              bool gueltig = true);

}  // namespace hallkorb::ersatz
