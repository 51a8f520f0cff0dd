// WAV files: mono, 16-bit PCM, a 44-byte header and the samples.
//
// Every program that gets the recordings reads this format: speech recognisers, players, scripts.
// Samples are 32-bit floats in the program and signed 16-bit integers in the file. They are written
// with the scale 32767 and truncated toward zero, so that the loudest sample of either sign fits
// and silence stays silence. They are read with the scale 32768, as is usual for foreign files; so
// a written file comes back smaller by the factor 32767/32768 and at most one step.
//
// Functions without state, any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Dateien.h"
#include "base/Fehler.h"

namespace hallkorb {

// The header's length in bytes; the samples follow it.
inline constexpr std::size_t WAV_KOPF_BYTES = 44;

using WavKopf = std::array<std::uint8_t, WAV_KOPF_BYTES>;

// The header of a file with `bytes` bytes of samples at `rate` Hz, both modulo 2^32.
[[nodiscard]] WavKopf wavKopf(std::int64_t rate, std::uint32_t bytes);

// A rate in Hz as the header holds it (truncated), and the bytes that so many samples take. A rate
// that is not finite, not above -1 or not below 2^31, or a length that the header cannot declare,
// stops the process.
[[nodiscard]] std::int64_t wavRate(double rate);
[[nodiscard]] std::uint32_t wavBytes(std::size_t samples);

// Encodes each sample into two bytes of `ziel`, which has room for all of them. Values below -1
// count as -1, values above 1 and NaN as 1.
void kodiereWav(std::span<const float> samples, std::span<std::uint8_t> ziel);

// Writes `samples` at `rate` Hz to the file `to`, by the rules of `ersetzeDatei`: it appears only
// when complete. Rates and lengths as above.
[[nodiscard]] Ergebnis writeWav(std::span<const float> samples, double rate, const std::string& to,
                                Dateien& dateien = posixDateien());

// The first channel of a 16-bit WAV file, in [-1, 1). Returns nullopt if the file cannot be read,
// is shorter than 45 bytes or has no data chunk; an empty list if its data chunk is empty.
// Truncated files are read as far as they go. Format code and sample size are not checked.
//
// This is the rule in one piece, for files that fit into memory. The program itself reads piece by
// piece (WavStrom.h); tests, fuzzers and benchmarks hold that against this.
[[nodiscard]] std::optional<std::vector<float>> liesWav(const std::string& path,
                                                        Dateien& dateien = posixDateien());

// The same for a file's bytes.
[[nodiscard]] std::optional<std::vector<float>> dekodiereWav(std::span<const std::uint8_t> datei);

}  // namespace hallkorb
