// A speaking machine for tests: German text as the sound of a voice, the same on every system.
//
// What an echo canceller does to speech depends on how speech is built: harmonics that glide,
// formants, noise above 3 kHz between them, closures, pauses. An installed synthesiser speaks
// differently with every release, and figures made with it depend on the release. This one is a
// source and its filters, as in a textbook: a train of glottal pulses with a melody, or noise,
// through resonators that move from sound to sound. Its spelling rules cover what plain German text
// needs; it is understood with some goodwill.
#pragma once

#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

namespace hallkorb {

struct Stimmlage {
  double grundton = 110.0;  // Hz, in the middle of a sentence
  double streckung = 1.0;   // of all formants; a shorter throat has higher ones
  double tempo = 1.0;       // 1 is about four syllables a second
  std::uint64_t saat = 1;   // of breath, jitter and pauses
};

// The two sides of a conversation: a woman who speaks fast, a man.
inline constexpr Stimmlage FERNE_STIMME{205.0, 1.16, 1.05, 1};
inline constexpr Stimmlage NAHE_STIMME{112.0, 1.0, 0.92, 2};

class Sprecher {
 public:
  // `rate` in Hz, at least 16000.
  Sprecher(const Stimmlage& lage, double rate);

  // The text as samples with a mean square of 0.05 squared, without silence at both ends. UTF-8;
  // ".", "?", "!" and "," make pauses. Two calls go on with the same breath: they differ a little.
  [[nodiscard]] std::vector<double> sprich(std::string_view text);

 private:
  Stimmlage lage_;
  double rate_;
  std::mt19937_64 zufall_;
};

}  // namespace hallkorb
